// The file functions compared with bare system calls (floors) and with other libraries. Works in a folder of its own
// below TMPDIR and removes it.

#include "Benchmarks/Ratios.h"
#include "Toolbox/KelUtils.h"

#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
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
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMiB = 1024UL * 1024;

fs::path g_folder;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables): main makes it, all works are in it

std::string Inside(const std::string& name) { return (g_folder / name).string(); }

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

void WriteFileOf(const std::string& path, std::size_t size) { std::ofstream(path) << std::string(size, 'x'); }

// --- floors -------------------------------------------------------------------------------------------------------

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

// Calls `visit` with the folder's descriptor and each entry but the dots.
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

int WalkRaw(int parent, const char* name) {
  int count = 0;
  const int folder = openat(parent, name, O_RDONLY | O_DIRECTORY);
  ListRaw(folder, [&count](int self, const dirent64& entry) {
    count += entry.d_type == DT_DIR ? WalkRaw(self, entry.d_name) : 1;
  });
  close(folder);
  return count;
}

void RemoveRaw(const std::string& path, std::size_t count) {
  const int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY);
  for (std::size_t index = 0; index < count; ++index) {
    unlinkat(folder, std::to_string(index).c_str(), 0);
  }
  close(folder);
  rmdir(path.c_str());
}

// --- works --------------------------------------------------------------------------------------------------------

class SilentReporter : public IKelProgressReporter {
 public:
  SilentReporter() : IKelProgressReporter(1, 0.01) {}
  bool reportProgress(double) override { return true; }
};

void CopyWithStdio(const std::string& from, const std::string& to) {
  const TKelOpenFile in(from.c_str(), "rb");
  const TKelOpenFile out(to.c_str(), "wb");
  std::array<char, 8192> buffer{};
  while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), in.m_file)) {
    std::fwrite(buffer.data(), 1, count, out.m_file);
  }
}

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

void RegisterCopyFolder() {
  const std::string from = Inside("many");
  const std::string to = Inside("many copied");
  fs::create_directory(from);
  std::vector<std::string> names;
  for (int index = 0; index < 400; ++index) {
    names.push_back("file number " + std::to_string(index));
    WriteFileOf(from + "/" + names.back(), 20000);
  }
  const auto prepare = [=] { fs::remove_all(to); };
  Register("copy 400 files/ours", prepare, [=] { KelCopy(from, to, nullptr); });
  Register("copy 400 files/std", prepare, [=] { fs::copy(from, to, fs::copy_options::recursive); });
  const auto copyRaw = [=](auto copyFile) {
    mkdir(to.c_str(), 0700);
    const int in = open(from.c_str(), O_RDONLY | O_DIRECTORY);
    const int out = open(to.c_str(), O_RDONLY | O_DIRECTORY);
    for (const std::string& name : names) {
      copyFile(in, out, name.c_str(), name.c_str());
    }
    close(in);
    close(out);
  };
  Register("copy 400 files/floor", prepare, [=] { copyRaw(CopyRaw<8192>); });
  Register("copy 400 files/floor in one piece", prepare, [=] { copyRaw(CopyRaw<65536>); });
  Register("copy 400 files/stdio", prepare, [=] {
    mkdir(to.c_str(), 0700);
    for (const std::string& name : names) {
      CopyWithStdio(fs::path(from) / name, fs::path(to) / name);
    }
  });
}

class CountingTask : public IKelSomeFileTask {
 public:
  bool processFile(const std::string& path) override {
    m_length += path.size();
    return true;
  }
  std::size_t m_length = 0;
};

void RegisterWalk() {
  const std::string folder = Inside("tree");
  for (int index = 0; index < 40; ++index) {
    const std::string inner = folder + "/folder " + std::to_string(index);
    fs::create_directories(inner);
    for (int file = 0; file < 50; ++file) {
      WriteFileOf(inner + "/file number " + std::to_string(file), 1);
    }
  }
  Register("walk 40 x 50/ours", [=] {
    CountingTask task;
    KelForEachFile(folder, task);
    benchmark::DoNotOptimize(task.m_length);
  });
  Register("walk 40 x 50/floor", [=] { benchmark::DoNotOptimize(WalkRaw(AT_FDCWD, folder.c_str())); });
  const auto walk = [folder](auto iterator) {
    std::size_t length = 0;
    for (const auto& entry : iterator) {
      if (is_regular_file(entry.status())) {
        length += entry.path().native().size();
      }
    }
    benchmark::DoNotOptimize(length);
  };
  Register("walk 40 x 50/std", [=] { walk(fs::recursive_directory_iterator(folder)); });
  Register("walk 40 x 50/boost", [=] { walk(boost::filesystem::recursive_directory_iterator(folder)); });
}

void RegisterRemoval() {
  for (const std::size_t count : {std::size_t(500), std::size_t(4000)}) {
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

// One pass over the line for both keys, as one would write it by hand.
std::string ReplaceBoth(const std::string& line) {
  std::string replaced;
  for (std::size_t at = 0; at < line.size();) {
    if (line.compare(at, 4, "key1") == 0) {
      replaced += "value one";
      at += 4;
    } else if (line.compare(at, 4, "key2") == 0) {
      replaced += "v2";
      at += 4;
    } else {
      replaced += line[at++];
    }
  }
  return replaced;
}

void RegisterSearchAndReplace() {
  const std::string from = Inside("text");
  const std::string to = Inside("text replaced");
  std::string text;
  for (int line = 0; text.size() < 4 * kMiB; ++line) {
    text += "line " + std::to_string(line) + " of a text with key" + std::to_string(line % 7) + " and more of it\n";
  }
  std::ofstream(from) << text;
  Register("search and replace 4 MiB/ours", [=] {
    KelSearchAndReplace({{"key1", "value one"}, {"key2", "v2"}}, from.c_str(), to.c_str());
  });
  Register("search and replace 4 MiB/floor", [=] { CopyRaw<65536>(AT_FDCWD, AT_FDCWD, from.c_str(), to.c_str()); });
  Register("search and replace 4 MiB/getline", [=] {
    std::ifstream in(from);
    std::ofstream out(to);
    for (std::string line; std::getline(in, line);) {
      out << ReplaceBoth(line) << '\n';
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
  RegisterCopyFolder();
  RegisterWalk();
  RegisterRemoval();
  RegisterSimplify();
  RegisterLoad();
  RegisterSearchAndReplace();
  const int result = RunAndPrintRatios(argc, argv);
  fs::remove_all(g_folder);
  return result;
}
