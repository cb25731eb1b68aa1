// The file functions compared with bare system calls (floors) and with other libraries. Works in a folder of its own
// below TMPDIR and removes it.

#include "Benchmarks/Ratios.h"
#include "Toolbox/KelUtils.h"

#include <absl/strings/str_replace.h>
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <fts.h>
#include <malloc.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <boost/filesystem.hpp>

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMiB = 1024UL * 1024;

fs::path g_folder;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables): main makes it, all works are in it

/// The path of a file or folder in the benchmark's folder.
std::string Inside(const std::string& name) { return (g_folder / name).string(); }

/// Registers `action` under that name. `prepare`, which may be empty, runs before each time and is not measured.
void Register(const std::string& name, const std::function<void()>& prepare, const std::function<void()>& action) {
  benchmark::RegisterBenchmark(name.c_str(), [prepare, action](benchmark::State& state) {
    for (auto _ : state) {
      if (prepare) {
        state.PauseTiming();
        prepare();
        state.ResumeTiming();
      }
      action();
    }
  })->Unit(benchmark::kMicrosecond);
}

void Register(const std::string& name, const std::function<void()>& action) { Register(name, nullptr, action); }

/// Writes a file of that size.
void WriteFileOf(const std::string& path, std::size_t size) { std::ofstream(path) << std::string(size, 'x'); }

/// Fills `folder`, which nothing else changes, when it is first used: making the largest ones takes time.
template <class Fill>
std::function<void()> Filled(const std::string& folder, Fill fill) {
  return [folder, fill] {
    if (fs::create_directories(folder)) {
      fill();
    }
  };
}

/// The floor of copying: pieces of kSize bytes by system calls alone. Errors are ignored.
template <std::size_t kSize>
void CopyRaw(int fromFolder, int toFolder, const char* from, const char* to) {
  static std::array<char, kSize> buffer;
  const int in = openat(fromFolder, from, O_RDONLY);
  const int out = openat(toFolder, to, O_WRONLY | O_CREAT | O_TRUNC, 0600);
  for (ssize_t count = 0; (count = read(in, buffer.data(), buffer.size())) > 0;) {
    benchmark::DoNotOptimize(write(out, buffer.data(), static_cast<std::size_t>(count)));
  }
  close(in);
  close(out);
}

/// Calls `visit` with the folder's descriptor and each entry whose name does not begin with a dot, as found by
/// getdents64.
template <class Visit>
void ListRaw(int folder, Visit visit) {
  constexpr std::size_t kSize = 32768;
  const std::unique_ptr<char[]> buffer(new char[kSize]);
  for (long held = 0; (held = syscall(SYS_getdents64, folder, buffer.get(), kSize)) > 0;) {
    for (long at = 0; at < held;) {
      const auto* entry = reinterpret_cast<const dirent64*>(buffer.get() + at);
      if (entry->d_name[0] != '.') {
        visit(folder, *entry);
      }
      at += entry->d_reclen;
    }
  }
}

/// The floor of walking: counts the files of a tree by system calls alone.
int WalkRaw(int parent, const char* name) {
  int count = 0;
  const int folder = openat(parent, name, O_RDONLY | O_DIRECTORY);
  ListRaw(folder, [&count](int self, const dirent64& entry) {
    count += entry.d_type == DT_DIR ? WalkRaw(self, entry.d_name) : 1;
  });
  close(folder);
  return count;
}

/// The floor of removing: unlinks the files "0" to COUNT - 1 and removes the folder.
void RemoveRaw(const std::string& path, std::size_t count) {
  const int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY);
  for (std::size_t index = 0; index < count; ++index) {
    unlinkat(folder, std::to_string(index).c_str(), 0);
  }
  close(folder);
  rmdir(path.c_str());
}

/// Reports progress to nobody.
class SilentReporter : public IKelProgressReporter {
 public:
  SilentReporter() : IKelProgressReporter(1, 0.01) {}
  bool reportProgress(double) override { return true; }
};

/// Copies a file in pieces of 8 KiB through buffered streams.
void CopyWithStdio(const std::string& from, const std::string& to) {
  const TKelOpenFile in(from.c_str(), "rb");
  const TKelOpenFile out(to.c_str(), "wb");
  std::array<char, 8192> buffer{};
  while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), in.m_file)) {
    std::fwrite(buffer.data(), 1, count, out.m_file);
  }
}

/// A large file, with and without progress reports.
void RegisterCopyFile() {
  const std::string from = Inside("large");
  const std::string to = Inside("copy");
  WriteFileOf(from, 16 * kMiB);
  for (const std::string work : {"copy 16 MiB", "copy 16 MiB reporting"}) {
    const bool isReporting = work.ends_with("reporting");
    Register(work + "/ours", [=] {
      SilentReporter reporter;
      KelCopyFile(from, to, isReporting ? &reporter : nullptr);
    });
    Register(work + "/floor", [=] { CopyRaw<8192>(AT_FDCWD, AT_FDCWD, from.c_str(), to.c_str()); });
  }
  Register("copy 16 MiB/stdio", [=] { CopyWithStdio(from, to); });
  Register("copy 16 MiB/std", [=] { fs::copy_file(from, to, fs::copy_options::overwrite_existing); });
}

/// A folder of `count` files of 20,000 bytes.
void RegisterCopyFolder(int count) {
  const std::string from = Inside("many " + std::to_string(count));
  const std::string to = Inside("many copied");
  std::vector<std::string> names;
  names.reserve(static_cast<std::size_t>(count));
  for (int index = 0; index < count; ++index) {
    names.push_back("file number " + std::to_string(index));
  }
  const auto fill = Filled(from, [=] {
    for (const std::string& name : names) {
      WriteFileOf(fs::path(from) / name, 20000);
    }
  });
  const auto prepare = [=] {
    fill();
    fs::remove_all(to);
  };
  const auto copyEach = [=](auto copyFile) {
    mkdir(to.c_str(), 0700);
    const int in = open(from.c_str(), O_RDONLY | O_DIRECTORY);
    const int out = open(to.c_str(), O_RDONLY | O_DIRECTORY);
    for (const std::string& name : names) {
      copyFile(in, out, name.c_str(), name.c_str());
    }
    close(in);
    close(out);
  };
  const std::string work = "copy tree " + std::to_string(count);
  Register(work + "/ours", prepare, [=] { KelCopy(from, to, nullptr); });
  Register(work + "/std", prepare, [=] { fs::copy(from, to, fs::copy_options::recursive); });
  Register(work + "/floor", prepare, [=] { copyEach(CopyRaw<8192>); });
  Register(work + "/floor in one piece", prepare, [=] { copyEach(CopyRaw<65536>); });
}

/// Adds up the lengths of the paths, which every side of the comparison thus has to build.
class CountingTask : public IKelSomeFileTask {
 public:
  bool processFile(const std::string& path) override {
    m_length += path.size();
    return true;
  }
  std::size_t m_length = 0;
};

/// The lengths of all paths in the tree, by readdir and by fts: both build the paths, as callers need them.
std::size_t WalkWithReaddir(const std::string& path) {
  std::size_t length = 0;
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(path.c_str()), closedir);
  while (const dirent* const entry = readdir(folder.get())) {
    if (entry->d_name[0] != '.') {
      const std::string inner = path + '/' + entry->d_name;
      length += entry->d_type == DT_DIR ? WalkWithReaddir(inner) : inner.size();
    }
  }
  return length;
}

std::size_t WalkWithFts(std::string path) {
  std::size_t length = 0;
  char* const paths[] = {path.data(), nullptr};
  const std::unique_ptr<FTS, int (*)(FTS*)> tree(fts_open(paths, FTS_PHYSICAL | FTS_NOSTAT, nullptr), fts_close);
  while (const FTSENT* const entry = fts_read(tree.get())) {
    length += entry->fts_info == FTS_NSOK || entry->fts_info == FTS_F ? entry->fts_pathlen : 0;
  }
  return length;
}

/// A tree of `count` files, 50 in each folder.
void RegisterWalk(int count) {
  const std::string folder = Inside("tree " + std::to_string(count));
  const auto fill = Filled(folder, [=] {
    for (int index = 0; index < count; ++index) {
      const std::string inner = folder + "/folder " + std::to_string(index / 50);
      fs::create_directories(inner);
      WriteFileOf(inner + "/file number " + std::to_string(index % 50), 1);
    }
  });
  const auto work = [=](const std::string& side, auto walk) {
    Register("walk " + std::to_string(count) + "/" + side, fill, [=] { benchmark::DoNotOptimize(walk(folder)); });
  };
  work("ours", [](const std::string& path) {
    CountingTask task;
    KelForEachFile(path, task);
    return task.m_length;
  });
  work("floor", [](const std::string& path) { return WalkRaw(AT_FDCWD, path.c_str()); });
  work("readdir", WalkWithReaddir);
  work("fts", WalkWithFts);
  const auto iterate = [](auto iterator) {
    std::size_t length = 0;
    for (const auto& entry : iterator) {
      if (is_regular_file(entry.status())) {
        length += entry.path().native().size();
      }
    }
    return length;
  };
  work("std", [=](const std::string& path) { return iterate(fs::recursive_directory_iterator(path)); });
  work("boost",
       [=](const std::string& path) { return iterate(boost::filesystem::recursive_directory_iterator(path)); });
}

/// Folders of empty files.
void RegisterRemoval() {
  for (const std::size_t count : std::initializer_list<std::size_t>{50, 500, 5000}) {
    const std::string folder = Inside("removed");
    const auto prepare = [=] {
      fs::create_directory(folder);
      for (std::size_t index = 0; index < count; ++index) {
        close(open((folder + "/" + std::to_string(index)).c_str(), O_WRONLY | O_CREAT, 0600));
      }
    };
    const std::string work = "remove " + std::to_string(count);
    Register(work + "/ours", prepare, [=] { kel_remove_dir_recursively_UTF8(folder); });
    Register(work + "/floor", prepare, [=] { RemoveRaw(folder, count); });
    Register(work + "/std", prepare, [=] { fs::remove_all(folder); });
  }
}

/// Paths that are simple already and paths that are not. The floor is a copy of the path.
void RegisterSimplify() {
  const std::vector<std::string> paths{
      "/a/b/c",
      "/a/./b/../c/",
      "/Users/me/Movies/project/clip.mov",
      "/Users/me/Movies/../Music/./takes/1.wav",
      "/Volumes/share/jobs/2012/out.mov",
      "/tmp/../tmp/../tmp/x",
      "/usr/local/lib/plugins/PCMPlugin.bundle/Contents/MacOS/PCMPlugin",
      "/a//b/.../c",
  };
  const auto work = [paths](const std::string& side, auto action) {
    Register("simplify 8 paths/" + side, [=] {
      for (const std::string& path : paths) {
        benchmark::DoNotOptimize(action(path));
      }
    });
  };
  work("floor", [](const std::string& path) { return std::string(path); });
  work("std", [](const std::string& path) { return fs::path(path).lexically_normal().string(); });
  work("ours", [](const std::string& path) {
    std::string simple;
    KelSimplifyPath(path, simple);
    return simple;
  });
}

/// A whole file into memory. RegisterCopyFile writes the file.
void RegisterLoad() {
  const std::string path = Inside("large");
  Register("load 16 MiB/ours", [=] {
    const TKelOpenFile file(path.c_str(), "rb");
    std::string data;
    KelLoadFile(file.m_file, data);
    benchmark::DoNotOptimize(data.data());
  });
  Register("load 16 MiB/floor", [=] {
    const int file = open(path.c_str(), O_RDONLY);
    const std::unique_ptr<char[]> data(new char[16 * kMiB]);
    benchmark::DoNotOptimize(read(file, data.get(), 16 * kMiB));
    close(file);
  });
}

/// Replaces both keys the way that a special solution could: finds all places first, then fills a text of the right
/// size once.
std::string ReplaceBoth(std::string_view text) {
  constexpr std::size_t kKey = 4;
  std::vector<std::pair<std::size_t, std::string_view>> places;
  std::size_t size = text.size();
  for (std::size_t at = text.find("key"); at != std::string_view::npos; at = text.find("key", at + kKey)) {
    const char number = at + 3 < text.size() ? text[at + 3] : '\0';
    if (number == '1' || number == '2') {
      places.emplace_back(at, number == '1' ? "value one" : "v2");
      size += places.back().second.size() - kKey;
    }
  }
  std::string replaced;
  replaced.reserve(size);
  std::size_t done = 0;
  for (const auto& [at, with] : places) {
    replaced.append(text.substr(done, at - done)).append(with);
    done = at + kKey;
  }
  return replaced.append(text.substr(done));
}

/// A text in which two of seven lines contain a key.
void RegisterSearchAndReplace() {
  const std::string from = Inside("text");
  const std::string to = Inside("text replaced");
  std::string text;
  for (int line = 0; text.size() < 4 * kMiB; ++line) {
    text += "line " + std::to_string(line) + " of a text with key" + std::to_string(line % 7) + " and more of it\n";
  }
  std::ofstream(from) << text;
  const std::string work = "search and replace 4 MiB";
  Register(work + "/ours", [=] {
    KelSearchAndReplace({{"key1", "value one"}, {"key2", "v2"}}, from.c_str(), to.c_str());
  });
  Register(work + "/floor", [=] { CopyRaw<65536>(AT_FDCWD, AT_FDCWD, from.c_str(), to.c_str()); });
  Register(work + "/places first, all at once", [=] {
    const TKelOpenFile in(from.c_str(), "rb");
    std::string all;
    KelLoadFile(in.m_file, all);
    const std::string replaced = ReplaceBoth(all);
    std::ofstream(to).write(replaced.data(), static_cast<std::streamsize>(replaced.size()));
  });
  Register(work + "/absl line by line", [=] {
    std::ifstream in(from);
    std::ofstream out(to);
    for (std::string line; std::getline(in, line);) {
      out << absl::StrReplaceAll(line, {{"key1", "value one"}, {"key2", "v2"}}) << '\n';
    }
  });
}

}  // namespace

int main(int argc, char** argv) {
  // Large blocks come fresh from the system each time, as they do in a program that loads one file.
  mallopt(M_MMAP_THRESHOLD, static_cast<int>(kMiB));
  std::string pattern = (fs::temp_directory_path() / "files_benchmark_XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    std::perror("files_benchmark");
    return 1;
  }
  g_folder = pattern;
  RegisterCopyFile();
  for (const int count : {4, 40, 400, 4000}) {
    RegisterCopyFolder(count);
  }
  for (const int count : {20, 200, 2000, 20'000}) {
    RegisterWalk(count);
  }
  RegisterRemoval();
  RegisterSimplify();
  RegisterLoad();
  RegisterSearchAndReplace();
  const int result = RunAndPrintRatios(argc, argv);
  fs::remove_all(g_folder);
  return result;
}
