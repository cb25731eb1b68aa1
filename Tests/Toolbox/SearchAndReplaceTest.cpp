#include "Tests/Support/SystemCalls.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Toolbox/KelUtils/Files/SearchAndReplace.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <cerrno>
#include <chrono>
#include <future>
#include <thread>

namespace {

using Replacements = std::map<std::string, std::string>;

std::string Filtered(const TemporaryFolder& folder, const Replacements& replacements, const std::string& text) {
  const std::string out = folder / "out";
  return KelSearchAndReplace(replacements, folder.Write("in", text).c_str(), out.c_str()) ? ReadFile(out) : "failure";
}

TEST(SearchAndReplace, GoesLineByLine) {
  const TemporaryFolder folder;
  const std::tuple<Replacements, std::string, std::string> cases[] = {
      {{{"k", "K"}}, "k=1\r\n\nk=2", "K=1\r\nK=2\n"},
      {{{"k", ""}}, "\nk\nkk\n\n", "\n\n"},
      {{{"k", "K"}}, "\nk", "K\n"},
      {{{"\nb", "c"}, {"a", "A"}}, "a\nb\na", "A\nb\nA\n"},
      {{{"a", "\nb\n"}, {"b\n", "c"}, {"c\n", "d"}}, "a\na", "\nc\n\nc\n"},
      {{{"b", "B"}}, std::string("\0b\na\0b\n\0\nb", 10), "a\nB\n"},
      {{{"aa", "b"}}, "c\n" + std::string(200000, 'a'), "c\n" + std::string(100000, 'b') + "\n"},
      {{}, std::string(65536, '\n'), ""},
      {{}, "", ""}};
  for (const auto& [replacements, text, expected] : cases) {
    EXPECT_EQ(Filtered(folder, replacements, text), expected) << text.substr(0, 9);
  }
}

TEST(SearchAndReplace, TakesTheFilesPlaceOrChangesNothing) {
  const TemporaryFolder folder;
  const std::string file = folder.Write("a", "one two one");
  EXPECT_TRUE(KelSearchAndReplace(file.c_str(), "one", "1"));
  EXPECT_EQ(folder.Tree(), "a=1 two 1\n ");
  fs::create_symlink("a", folder / "link");
  fs::create_symlink("b.tmp", folder / "b");
  fs::create_symlink("/dev/full", folder / "full");
  fs::create_directory(folder / "a.tmp");
  mkfifo((folder / "fifo").c_str(), 0600);
  folder.Write("old", "kept");
  const std::string before = folder.Tree();
  const Replacements none;
  for (const char* out : {"a", "./a", "link", "none/a", "a.tmp"}) {
    EXPECT_FALSE(KelSearchAndReplace(none, file.c_str(), (folder / out).c_str())) << out;
  }
  for (const char* in : {"none", ".", "a.tmp"}) {
    EXPECT_FALSE(KelSearchAndReplace(none, (folder / in).c_str(), (folder / "old").c_str())) << in;
    EXPECT_FALSE(KelSearchAndReplace(none, (folder / in).c_str(), (folder / "new").c_str())) << in;
  }
  for (const char* path : {"none", ".", "fifo", "a"}) {
    EXPECT_FALSE(KelSearchAndReplace((folder / path).c_str(), "1", "2")) << path;
  }
  EXPECT_FALSE(KelSearchAndReplace(static_cast<const char*>(nullptr), nullptr, nullptr));
  EXPECT_FALSE(KelSearchAndReplace(none, file.c_str(), (folder / "full").c_str()));
  EXPECT_EQ(folder.Tree(), before);
  // The temporary path leads to the file itself.
  fs::rename(file, folder / "b.tmp");
  EXPECT_FALSE(KelSearchAndReplace((folder / "b").c_str(), "1", "2"));
  EXPECT_EQ(ReadFile(folder / "b.tmp"), "1 two 1\n");
}

TEST(SearchAndReplace, WaitsForTheWriterOfAFifo) {
  const TemporaryFolder folder;
  const std::string fifo = folder / "fifo";
  mkfifo(fifo.c_str(), 0600);
  std::promise<void> waits;
  std::thread writer([&] {
    std::ofstream stream(fifo);  // opens when there is a reader
    stream << "one" << std::flush;
    waits.get_future().wait();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    stream << " two";
  });
  {
    const Fault second("read", 2, [&waits] { waits.set_value(); });
    EXPECT_TRUE(KelSearchAndReplace({{"one", "1"}}, fifo.c_str(), (folder / "out").c_str()));
    if (!second.Occurred()) {
      waits.set_value();
    }
  }
  writer.join();
  EXPECT_EQ(ReadFile(folder / "out"), "1 two\n");
}

TEST(SearchAndReplace, IsAsPrivateAsTheFileFromTheFirstByte) {
  const TemporaryFolder folder;
  const std::string file = folder.Write("a", "one");
  const auto modeBefore = [&](const char* call) {
    mode_t mode = 0;
    const Fault looks(call, 1, [&] { mode = static_cast<mode_t>(fs::status(file + ".tmp").permissions()); });
    EXPECT_TRUE(KelSearchAndReplace(file.c_str(), "one", "1") && looks.Occurred());
    return mode;
  };
  chmod(file.c_str(), 0640);
  EXPECT_EQ(modeBefore("fchown"), 0600U);
  EXPECT_EQ(modeBefore("write"), 0640U);
}

TEST(SearchAndReplace, GoesNeverThroughWhatLiesAtTheTemporaryPath) {
  const TemporaryFolder folder;
  const std::string file = folder / "a";
  const std::string temporary = folder / "a.tmp";
  const std::function<void()> placings[] = {
      [&] { folder.Write("a.tmp", "older"); }, [&] { fs::create_symlink("other", temporary); },
      [&] { fs::create_hard_link(folder / "other", temporary); }, [&] { mkfifo(temporary.c_str(), 0666); }};
  folder.Write("other", "kept");
  for (const mode_t mode : {0600U, 0644U, 0444U, 0707U, 06711U}) {
    for (const auto& place : placings) {
      folder.Write("a", "one");
      chmod(file.c_str(), mode);
      place();
      EXPECT_TRUE(KelSearchAndReplace(file.c_str(), "one", "1"));
      EXPECT_EQ(folder.Tree(), "a=1\n other=kept ");
      struct stat status {};
      EXPECT_TRUE(stat(file.c_str(), &status) == 0 && (status.st_mode & 07777U) == (mode & 0777U)) << mode;
      fs::remove(file);
    }
  }
  // An item that replaces the temporary file later is not renamed, and a file whose mode cannot be set is removed.
  folder.Write("a", "one");
  for (const auto& place : placings) {
    for (const auto& [call, nth] : {std::pair("open", 2), {"close", 1}}) {
      const Fault swaps(call, nth, [&] {
        fs::remove(temporary);
        place();
      });
      EXPECT_FALSE(KelSearchAndReplace(file.c_str(), "one", "1"));
      EXPECT_EQ(ReadFile(folder / "other"), "kept");
    }
    fs::remove(temporary);
  }
  const Fault modeless("fchmod", 1, EPERM);
  chmod(file.c_str(), 0640);
  EXPECT_FALSE(KelSearchAndReplace(file.c_str(), "one", "1"));
  EXPECT_EQ(folder.Tree(), "a=one other=kept ");
}

TEST(SearchAndReplace, KnowsItsInputByAnyNameThatTheOutputTakes) {
  const TemporaryFolder folder;
  const std::string in = folder.Write("in", "one");
  const std::string out = folder / "out";
  const std::function<void()> placings[] = {[&] { fs::create_hard_link(in, out); },
                                            [&] { fs::create_symlink(in, out); },
                                            [&] { EXPECT_EQ(mknod(out.c_str(), S_IFSOCK | 0600U, 0), 0); }};
  for (const auto& place : placings) {
    const Fault swaps("open", 2, place);
    EXPECT_FALSE(KelSearchAndReplace({{"one", "1"}}, in.c_str(), out.c_str()));
    EXPECT_EQ(ReadFile(in), "one");
  }
  EXPECT_TRUE(fs::exists(out)) << "the socket, which another process has put there";
  // If the new file cannot have the group, the group gets the permissions of others.
  chmod(in.c_str(), 0640);
  const Fault groupless("fchown", 1, EPERM, true);
  EXPECT_TRUE(KelSearchAndReplace(in.c_str(), "one", "1"));
  struct stat status {};
  EXPECT_TRUE(stat(in.c_str(), &status) == 0 && (status.st_mode & 0777U) == 0600U);
}

}  // namespace
