#include "Tests/Support/SlowVersions.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Toolbox/KelUtils/Files/Internal/UncPaths.h"
#include "Toolbox/KelUtils/Files/Paths.h"
#include "Toolbox/KelUtils/Text/Text.h"

#include <gtest/gtest.h>
#include <sstream>
#include <vector>

namespace {

bool g_isTurkish = false;
const char* g_mounts = nullptr;

}  // namespace

// As in a Turkish locale, where I is not the capital of i. The module calls this function too.
extern "C" [[gnu::visibility("default")]] int tolower(int c) noexcept {
  return c >= 'A' && c <= 'Z' && !(g_isTurkish && c == 'I') ? c + 0x20 : c;
}

// Opens the table of mounted file systems that a test has set. The module calls this function too.
extern "C" [[gnu::visibility("default")]] std::FILE* setmntent(const char* path, const char* mode) noexcept {
  return std::fopen(g_mounts == nullptr ? path : g_mounts, mode);
}

namespace {

std::string Simplified(const std::string& path) {
  std::string output = "fails";
  return KelSimplifyPath(path, output) || output != "fails" ? output : "fails";
}

void CheckPathsThatBeginWith(const std::string& path) {
  const std::string expected = SimplifiedSlowly(path);
  ASSERT_EQ(Simplified(path), expected) << path;
  ASSERT_EQ(expected == "fails" ? expected : Simplified(expected), expected) << "twice";
  for (const char* next : {"/", ".", "a"}) {
    if (path.size() < 9) {
      CheckPathsThatBeginWith(path + next);
    }
  }
}

TEST(SimplifyPath, DoesAsTheSlowVersionForEveryShortPath) { CheckPathsThatBeginWith("/"); }

TEST(SimplifyPath, StartsFromTheWorkingDirectory) {
  const TemporaryFolder folder;
  const fs::path previous = fs::current_path();
  const std::string here = folder / "b";
  fs::create_directory(here);
  fs::current_path(here);
  EXPECT_EQ(Simplified("x/../y") + Simplified(".x/"), here + "/y" + here + "/.x");
  EXPECT_EQ(Simplified(".") + Simplified("..") + Simplified("../c//d/."), here + folder.Path() + (folder / "c//d"));
  EXPECT_EQ(Simplified("../../../../../../../../../../..") + Simplified(""), "failsfails");
  fs::remove(here);
  EXPECT_EQ(Simplified("x"), "fails") << "there is none";
  fs::current_path("/");
  EXPECT_EQ(Simplified("x/."), "/x");
  fs::current_path(previous);
}

TEST(Paths, AreJoinedAndParsed) {
  std::istringstream joined("a/|/b|a/b a///|///b|a/b |b|/b a||a/ /|b|/b ||/");
  for (std::string first, second, result; std::getline(joined, first, '|');) {
    std::getline(std::getline(joined, second, '|'), result, ' ');
    EXPECT_EQ(KelJoinPaths(first, second, 0), result);
    EXPECT_EQ(KelJoinPaths(first, second.c_str(), '/'), result);
  }
  EXPECT_EQ(KelJoinPaths("a/", "b", '\\') + KelJoinPaths("a", static_cast<const char*>(nullptr), 0), "a/\\ba/");

  std::istringstream parsed(
      "/a/b/c.txt=/a/b/|c.txt|1 /a/b/=/a/|b|1 /=/||1 //=/||1 c.txt=|c.txt|0 a/=|a/|0 a//b//=a//|b|1");
  for (std::string path, result; std::getline(std::getline(parsed, path, '='), result, ' ');) {
    std::string folder;
    std::string name;
    const char* const answer = KelParseFilePath(path, folder, name) ? "|1" : "|0";
    EXPECT_EQ((folder + "|").append(name).append(answer), result) << path;
  }
  std::string untouched = "x";
  EXPECT_TRUE(!KelParseFilePath(std::string(), untouched, untouched) && untouched == "x");
  EXPECT_TRUE(!KelGetFullPathName(std::string(), untouched) && untouched.empty());
}

TEST(Extensions, AreFoundReplacedAndRemoved) {
  // Path, the same with .x, the replaced extension, the path without extension, the file name.
  std::istringstream cases(
      "b.mov|b.x|.mov|b|b.mov x.|x.x|.|x|x. a.b/c|a.b/c.x||a.b/c|c a.b\\c|a.b\\c.x||a.b\\c|c .hid|.x|.hid||.hid "
      "d/f.tar.gz|d/f.tar.x|.gz|d/f.tar|f.tar.gz a\\b/c|a\\b/c.x||a\\b/c|c a/b.x\\c|a/b.x\\c.x||a/b|c "
      "dir/|dir/.x||dir/|");
  for (std::string path, rest; std::getline(std::getline(cases, path, '|'), rest, ' ');) {
    std::string replaced = path;
    std::string removed = path;
    std::string old;
    EXPECT_EQ(KelReplaceFilenameExtension(replaced, ".x", &old), KelRemoveFilenameExtension(removed));
    EXPECT_EQ(removed + old, path);
    replaced.append("|").append(old).append("|").append(KelGetPathFileNameNoExtension(path));
    EXPECT_EQ(replaced + "|" + KelGetFileNameWithExtension(path), rest);
  }
  std::string empty;
  EXPECT_TRUE(!KelReplaceFilenameExtension(empty, ".x", &empty) && empty.empty());
  g_isTurkish = true;
  EXPECT_TRUE(KelFilenameExtensionMatches("C.AIFF", ".aiff") && KelToLowerCase("AI") == "aI");
  g_isTurkish = false;
  EXPECT_TRUE(KelFilenameExtensionMatches("C.mov", ".MOV") && KelFilenameExtensionMatches("C.MOV", "mov"));
  EXPECT_TRUE(KelFilenameExtensionMatches("a", "") && KelFilenameExtensionMatches(nullptr, nullptr));
  EXPECT_FALSE(KelFilenameExtensionMatches("a", "abc") || KelFilenameExtensionMatches("a.wav", "mov"));
}

TEST(UncPaths, FollowTheFirstSmbVolume) {
  const std::vector<Mount> mounts{{"ext4", "/V/disk", "/dev/a"},
                                  {"smbfs", "", "//x@y/z"},
                                  {"smbfs", "/V/s", "//me@server._smb._tcp.local/share"},
                                  {"cifs", "/V/s/inner", "//l/n"},
                                  {"smb3", "/mnt", "//srv/sh"},
                                  {"smbfs", "/m", "x._smb._tcp.local"}};
  std::istringstream cases(
      "/V/s/d/a.mov server/share/d/a.mov /V/s/inner/a server/share/inner/a /mnt/d/a //srv/sh/d/a "
      "/V/s /V/s /V/sh/a /V/sh/a /V/disk/a /V/disk/a /a /a /m/a x._smb._tcp.local/a");
  for (std::string path, expected; cases >> path >> expected;) {
    EXPECT_EQ(ConvertToUnc(path, mounts), expected);
  }
  EXPECT_EQ(ConvertMacPathToUnc("/tmp/a"), "/tmp/a");
  const TemporaryFolder folder;
  const std::string table = folder.Write("table", "/dev/a / ext4 rw 0 0\n//me@srv/a\\040b /V/a\\040b cifs rw 0 0\n");
  g_mounts = table.c_str();
  EXPECT_EQ(ConvertMacPathToUnc("/V/a b/c"), "srv/a b/c");
  g_mounts = nullptr;
}

TEST(KelStr, OwnsItsText) {
  CKelStr<char> text;
  EXPECT_TRUE(CKelStr<char>(text).m_data != nullptr && text.m_data == nullptr);
  EXPECT_THROW(KelGetFullPathName(text, text), std::logic_error);
  text.assign("/.");
  EXPECT_TRUE(!KelGetFullPathName(text += ".", text) && text.m_length == 3);
  text += text;
  text.assign(text.m_data + 2);
  EXPECT_EQ(std::string(text.m_data, text.m_length + 1), std::string("./..\0", 5));
  EXPECT_TRUE(KelParseFilePath(text, text, text));
  text.fill(3, *text.m_data);
  EXPECT_STREQ((text += static_cast<const char*>(nullptr)).m_data, "...");
  EXPECT_THROW(text.fill(0xFFFFFFFFU, 'x'), std::bad_alloc);
  text.fill(0, 'x');
  EXPECT_STREQ(text.m_data, "");
  text.assign(nullptr);
  EXPECT_TRUE(text.m_data == nullptr && text.m_length == 0);
}

}  // namespace
