#include "Tests/Support/Slots.h"
#include "Tests/Support/SystemCalls.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Toolbox/KelUtils/Files/Copying.h"
#include "Toolbox/KelUtils/Text/Text.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <vector>

namespace {

class Reports : public IKelProgressReporter {
 public:
  Reports(unsigned items, double precision, double last = 2) : IKelProgressReporter(items, precision), m_last(last) {}
  bool reportProgress(double fraction) override {
    m_text += std::to_string(fraction).substr(0, 4) + " ";
    return fraction < m_last;
  }
  std::string m_text;
  double m_last;
};

TEST(Progress, IsReportedStepByStep) {
  // As the module calls it: by slot.
  const auto update = [](Reports& reports, double progress) { return CallSlot<bool>(&reports, 4, progress); };
  Reports two(2, 0.1, 0.5);
  EXPECT_TRUE(update(two, 0.0) && update(two, 0.04) && update(two, 0.5));
  EXPECT_FALSE(CallSlot<bool>(&two, 5) || update(two, 3.0));
  EXPECT_EQ(two.m_text, "0.00 0.25 0.50 1.00 ");
  CallSlot(&two, 3, 4U);
  EXPECT_TRUE(update(two, 0.1) && update(two, 0.39) && update(two, 0.4));
  EXPECT_EQ(two.m_text, "0.00 0.25 0.50 1.00 0.02 0.10 ");

  Reports fine(1, -1);
  Reports none(0, 0.1);
  EXPECT_TRUE(update(fine, 1e-10) && update(fine, 1.5e-10) && update(fine, 1));
  EXPECT_EQ(fine.m_text, "0.00 1.00 ") << "a precision below 1e-10 is 1e-10";
  // More steps than 31 bits can count.
  Reports steps(1, 0);
  for (const double progress : {-1.0, 0.0, 0.5e-10, 1.5e-10, 0.25, 0.25, 0.25 + 1e-9, 0.5, 0.99999, 1.0, 1.0}) {
    EXPECT_TRUE(update(steps, progress));
  }
  EXPECT_EQ(steps.m_text, "0.00 0.00 0.25 0.25 0.50 0.99 1.00 ");
  EXPECT_TRUE(update(none, 1) && CallSlot<bool>(&none, 5) && update(none, -1));
  EXPECT_EQ(none.m_text, "");
  CallSlot(&none, 2, 0.9);
  CallSlot(&none, 3, 1U);
  EXPECT_TRUE(update(none, 0.8) && CallSlot<bool>(&none, 6, 1.5));
  EXPECT_EQ(none.m_text, "0.80 1.50 ");
}

// The result of a copy, or the message of what it throws.
template <class Copy>
std::string ResultOf(Copy copy, const TemporaryFolder& folder, const std::string& from, const std::string& to,
                     IKelProgressReporter* reporter = nullptr) {
  bool result = false;
  const std::string message = MessageOf([&] { result = copy(folder / from, folder / to, reporter); });
  return message != "nothing" ? KelReplace(message, folder.Path() + "/", "") : result ? "true" : "false";
}

TEST(CopyFile, CopiesEveryByteInStepsOf8192) {
  const TemporaryFolder folder;
  std::string content;
  for (const std::size_t size : {0U, 1U, 8191U, 8192U, 8193U, 20000U}) {
    while (content.size() < size) {
      content += static_cast<char>(content.size() * 31 >> 3);
    }
    folder.Write("from", content);
    Reports reports(1, 1e-9);
    EXPECT_EQ(ResultOf(KelCopyFile, folder, "from", "to", &reports), "true");
    EXPECT_EQ(ReadFile(folder / "to"), content);
    EXPECT_EQ(std::count(reports.m_text.begin(), reports.m_text.end(), ' '), (size + 8191) / 8192 + (size == 0));
    ASSERT_EQ(std::system(("touch -d 2040-01-01 " + folder.Path() + "/*").c_str()), 0);  // beyond 32 bits
  }
}

TEST(CopyFile, SaysWhatFailsAndLeavesWhatIsWritten) {
  using Case = std::tuple<const char*, int, int, std::string, std::size_t>;
  const char* const unwritten = "failed to write to \"to\"";
  const Case cases[] = {{"open", 1, EACCES, "failed to open \"from\", check read/write privileges.", 3},
                        {"open", 2, EACCES, "failed to open \"to\", check read/write privileges.", 3},
                        {"lseek", 1, EIO, "failed to seek \"from\"", 0},
                        {"lseek", 2, EIO, "failed to seek \"from\"", 0},
                        {"read", 2, EIO, "false", 8192},
                        {"write", 3, ENOSPC, unwritten, 16384},
                        {"close", 1, EDQUOT, unwritten, 20000}};
  for (const auto& [call, nth, error, result, left] : cases) {
    const TemporaryFolder folder;
    folder.Write("from", std::string(20000, 'x'));
    folder.Write("to", "old");
    Reports reports(1, 1e-9);
    const Fault fault(call, nth, error);
    EXPECT_EQ(ResultOf(KelCopyFile, folder, "from", "to", &reports), result);
    EXPECT_EQ(fs::file_size(folder / "to"), left) << result;
  }
  const TemporaryFolder folder;
  folder.Write("from", std::string(20000, 'x'));
  Reports stopping(1, 0.1, 0.5);
  EXPECT_EQ(ResultOf(KelCopyFile, folder, "from", "to", &stopping), "false");
  EXPECT_EQ(fs::file_size(folder / "to"), 16384U) << "stopped by the reporter";
  // The file changes before the third read.
  for (const auto& [size, left] : {std::pair(10000, 10000), {40000, 24576}}) {
    folder.Write("from", std::string(20000, 'x'));
    const Fault changes("read", 3,
                        [&, to = size] { fs::resize_file(folder / "from", static_cast<std::uintmax_t>(to)); });
    Reports reports(1, 1e-9);
    EXPECT_EQ(ResultOf(KelCopyFile, folder, "from", "to", &reports), "false") << "shorter or longer";
  }
  struct Throwing : Reports {
    using Reports::Reports;
    bool reportProgress(double fraction) override { throw std::runtime_error(std::to_string(fraction).substr(0, 4)); }
  } throwing(1, 0.1);
  const auto openBefore = OpenDescriptors();
  EXPECT_EQ(ResultOf(KelCopyFile, folder, "from", "to", &throwing), "0.20");
  EXPECT_EQ(fs::file_size(folder / "to"), 8192U);
  EXPECT_EQ(OpenDescriptors(), openBefore);
  mkfifo((folder / "fifo").c_str(), 0600);
  EXPECT_EQ(ResultOf(KelCopyFile, folder, "fifo", "to"), "failed to seek \"fifo\"");
  EXPECT_EQ(ResultOf(KelCopyFile, folder, ".", "new"), "false");
  EXPECT_FALSE(fs::exists(folder / "new"));
}

TEST(Copies, OntoThemselvesAreRefused) {
  const TemporaryFolder folder;
  folder.Write("a/file", "kept");
  fs::create_symlink("file", folder / "a/link");
  fs::create_hard_link(folder / "a/file", folder / "hard");
  fs::create_directory_symlink("a", folder / "same");
  const std::string before = folder.Tree();
  for (const char* to : {"a/file", "a/./file", "a/link", "hard", "same/file"}) {
    EXPECT_EQ(ResultOf(KelCopyFile, folder, "a/file", to),
              std::string("copy failed, source and destination are the same file: \"") + to + "\"");
  }
  const std::string inside = "copy failed, the destination lies inside the source: ";
  EXPECT_EQ(ResultOf(KelCopy, folder, "a", "a"), inside + "\"a/a\"");
  EXPECT_EQ(ResultOf(KelCopy, folder, "a", "same/new"), inside + "\"same/new\"");
  EXPECT_EQ(ResultOf(KelCopy, folder, "a", "."), inside + "\"a\"");
  EXPECT_EQ(ResultOf(KelCopyFolderContents, folder, "a", "same"), inside + "\"same\"");
  EXPECT_EQ(ResultOf(KelCopyFolderContents, folder, "a", "missing/../a/sub"),
            "opendir failed for \"missing/../a/sub\"");
  EXPECT_EQ(folder.Tree(), before);

  fs::create_directories(folder / "a/sub");
  fs::create_directory_symlink("a/sub", folder / "deep");
  EXPECT_EQ(ResultOf(KelCopyFolderContents, folder, "a", "missing/../a/sub"), inside + "\"missing/../a/sub\"");
  EXPECT_EQ(ResultOf(KelCopyFolderContents, folder, "a", "deep/../into"), "opendir failed for \"deep/../into\"");
  fs::create_directory(folder / "into");
  EXPECT_EQ(ResultOf(KelCopyFolderContents, folder, "a", "deep/../into"), "true") << "not a/into";
  // Merging follows an existing link.
  fs::create_directories(folder / "from/x/y");
  fs::create_directories(folder / "to");
  fs::create_directory_symlink(folder / "from/x/y", folder / "to/x");
  EXPECT_EQ(ResultOf(KelCopyFolderContents, folder, "from", "to"), inside + "\"to/x\"");
  // Paths from here back up would be too long for the system.
  std::string bottom = "tree";
  fs::create_directory(folder / bottom);
  for (int level = 0; level < 470; ++level) {
    fs::create_directory(folder / (bottom += "/ddddd"));
  }
  EXPECT_EQ(ResultOf(KelCopyFolderContents, folder, "tree", bottom), inside + "\"" + bottom + "\"");
}

TEST(Copies, OfWhatCannotBeListedAreNotComplete) {
  const TemporaryFolder folder;
  folder.Write("a/b/c", "");
  fs::create_directory(folder / "new");
  for (const int nth : {5, 6}) {
    const Fault fault("getdents64", nth, EIO);
    EXPECT_EQ(ResultOf(KelCopyFolderContents, folder, "a", "new"), "false") << "in a/b, in a";
  }
  const std::string name(300, 'n');
  const ListedFile listed(name);
  EXPECT_EQ(ResultOf(KelCopy, folder, "a/b", "new"),
            "failed to open \"a/b/" + name + "\", check read/write privileges.");
}

TEST(Copy, PutsFilesAndFoldersWhereTheyBelong) {
  const TemporaryFolder folder;
  folder.Write("src/a", "A");
  folder.Write("src/sub/b", "B");
  fs::create_symlink("a", folder / "src/link");
  fs::create_directory(folder / "into");
  const std::vector<std::vector<std::string>> cases{
      {"src", "new", "new/ new/a=A new/link=A new/sub/ new/sub/b=B "},
      {"src/", "into", "into/src/ into/src/a=A into/src/link=A into/src/sub/ into/src/sub/b=B "},
      {"src/a", "into/", "into/a=A "},
      {"src/link", "file", "file=A "}};
  for (const auto& parts : cases) {
    Reports reports(3, 0.01);
    EXPECT_EQ(ResultOf(KelCopy, folder, parts[0], parts[1], &reports), "true");
    EXPECT_NE(folder.Tree().find(parts[2]), std::string::npos) << folder.Tree();
    EXPECT_TRUE(reports.m_text.ends_with(fs::is_directory(folder / parts[0]) ? "1.00 " : "0.33 ")) << reports.m_text;
  }
  folder.Write("merged/src/sub/kept", "K");
  EXPECT_EQ(ResultOf(KelCopy, folder, "src", "merged"), "true");
  EXPECT_TRUE(folder.Tree().find("merged/src/sub/b=B merged/src/sub/kept=K ") != std::string::npos);
  EXPECT_EQ(ResultOf(KelCopy, folder, "none/.", "x"), "none doesn't exist");
  EXPECT_EQ(ResultOf(KelCopyFolderContents, folder, "src", "none"), "opendir failed for \"none\"");
  EXPECT_FALSE(KelCopyFolderContents("", folder.Path(), nullptr) || KelCopyFolderContents(folder.Path(), "", nullptr));
  EXPECT_EQ(ResultOf(KelCopy, folder, "../../../..", "x"), "copy failed, invalid source path: \"../../../..\"");
  EXPECT_EQ(ResultOf(KelCopy, folder, "src", "../../../.."), "copy failed, invalid destination path: \"../../../..\"");
}

}  // namespace
