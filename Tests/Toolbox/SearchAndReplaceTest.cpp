#include "Tests/Support/TemporaryFolder.h"
#include "Toolbox/KelUtils/Files/SearchAndReplace.h"

#include <gtest/gtest.h>

namespace {

using Replacements = std::map<std::string, std::string>;

std::string Filtered(const TemporaryFolder& folder, const Replacements& replacements, const std::string& text) {
  const std::string out = folder / "out";
  return KelSearchAndReplace(replacements, folder.Write("in", text).c_str(), out.c_str()) ? ReadFile(out) : "failure";
}

TEST(SearchAndReplace, GoesLineByLine) {
  const TemporaryFolder folder;
  EXPECT_EQ(Filtered(folder, {{"k", "K"}}, "k=1\r\n\nk=2"), "K=1\r\nK=2\n");
  const std::string half(100000, 'b');
  EXPECT_EQ(Filtered(folder, {{"aa", "b"}}, "c\n" + std::string(200000, 'a')), "c\n" + half + "\n") << "a long line";
}

TEST(SearchAndReplace, TakesTheFilesPlaceOrChangesNothing) {
  const TemporaryFolder folder;
  const std::string file = folder.Write("a", "one two one");
  EXPECT_TRUE(KelSearchAndReplace(file.c_str(), "one", "1"));
  EXPECT_EQ(folder.Tree(), "a=1 two 1\n ");
  fs::create_symlink("a", folder / "link");
  fs::create_symlink("/dev/full", folder / "a.tmp");
  const Replacements none;
  for (const char* out : {"a", "./a", "link", "none/a", "a.tmp"}) {
    EXPECT_FALSE(KelSearchAndReplace(none, file.c_str(), (folder / out).c_str())) << out;
  }
  EXPECT_FALSE(KelSearchAndReplace(file.c_str(), "1", "2")) << "a full disk";
  EXPECT_FALSE(KelSearchAndReplace((folder / "none").c_str(), "a", "b") ||
               KelSearchAndReplace(none, (folder / "none").c_str(), file.c_str()) ||
               KelSearchAndReplace(none, folder.Path().c_str(), (folder / "of a folder").c_str()) ||
               KelSearchAndReplace(static_cast<const char*>(nullptr), nullptr, nullptr));
  EXPECT_EQ(folder.Tree(), "a.tmp@ a=1 two 1\n link@ ");
}

}  // namespace
