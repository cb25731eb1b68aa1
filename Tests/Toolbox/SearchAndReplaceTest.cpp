#include "Tests/Support/SystemCalls.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Toolbox/KelUtils/SearchAndReplace.h"
#include "Toolbox/KelUtils/Text.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <sstream>

namespace {

namespace fs = std::filesystem;
using Replacements = std::map<std::string, std::string>;

std::string Filtered(const TemporaryFolder& folder, const Replacements& replacements, const std::string& text) {
  folder.Write("in", text);
  const bool result = KelSearchAndReplace(replacements, (folder / "in").c_str(), (folder / "out").c_str());
  return result ? ReadFile(folder / "out") : "failure";
}

TEST(SearchAndReplace, WorksLineByLine) {
  const TemporaryFolder folder;
  EXPECT_EQ(Filtered(folder, {{"k", "K"}}, "k=1\n\nk=2"), "K=1\nK=2\n");
  EXPECT_EQ(Filtered(folder, {{"a", "b"}, {"b", "c"}}, "a\r\n"), "c\r\n");
  EXPECT_EQ(Filtered(folder, {{"a", ""}}, std::string("a\nb\0a\n\0b\n", 9)), "\nb\n");
  EXPECT_EQ(Filtered(folder, {}, ""), "");
  EXPECT_EQ(Filtered(folder, {{"", "x"}, {"a\nb", "x"}}, "a\nb"), "a\nb\n");
  const std::string longLine(200000, 'a');
  EXPECT_EQ(Filtered(folder, {{"aa", "b"}}, "c\n" + longLine + "\nd"),
            "c\n" + longLine.substr(100000).replace(0, 100000, 100000, 'b') + "\nd\n");
}

TEST(SearchAndReplace, DoesAsTheSlowVersion) {
  const TemporaryFolder folder;
  EXPECT_TRUE(rc::check([&folder] {
    const auto letters = rc::gen::element('a', 'b', '\n', '\0');
    const auto text = *rc::gen::container<std::string>(letters);
    const auto replacements = *rc::gen::container<Replacements>(rc::gen::container<std::string>(letters),
                                                                rc::gen::container<std::string>(letters));
    std::string expected;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
      line = line.c_str();
      if (line.empty()) {
        continue;
      }
      for (const auto& [what, with] : replacements) {
        line = KelReplace(line, what, with);
      }
      expected += line + '\n';
    }
    RC_ASSERT(Filtered(folder, replacements, text) == expected);
  }));
}

TEST(SearchAndReplace, InPlaceTakesTheFilesPlaceOrNothing) {
  const TemporaryFolder folder;
  const std::string file = folder.Write("a", "one two one");
  EXPECT_TRUE(KelSearchAndReplace(file.c_str(), "one", "1"));
  EXPECT_EQ(folder.Tree(), "a=1 two 1\n ");
  EXPECT_FALSE(KelSearchAndReplace((folder / "none").c_str(), "a", "b") ||
               KelSearchAndReplace(static_cast<const char*>(nullptr), nullptr, nullptr));
  const Replacements none;
  fs::create_symlink("a", folder / "link");
  for (const char* out : {"a", "./a", "link"}) {
    EXPECT_FALSE(KelSearchAndReplace(none, file.c_str(), (folder / out).c_str())) << "one file, two names";
  }
  EXPECT_FALSE(KelSearchAndReplace(none, (folder / "none").c_str(), file.c_str()) ||
               KelSearchAndReplace(none, folder.Path().c_str(), (folder / "new").c_str()) ||
               KelSearchAndReplace(none, file.c_str(), "/dev/full"));
  fs::create_symlink("/dev/full", folder / "a.tmp");
  EXPECT_FALSE(KelSearchAndReplace(file.c_str(), "1", "2")) << "a full disk";
  EXPECT_EQ(folder.Tree(), "a.tmp@ a=1 two 1\n link@ ");
  EXPECT_TRUE(fs::exists("/dev/full"));
}

}  // namespace
