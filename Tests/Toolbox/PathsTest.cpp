#include "Tests/Support/TemporaryFolder.h"
#include "Toolbox/KelUtils/Paths.h"
#include "Toolbox/KelUtils/UncPaths.h"

#include <gtest/gtest.h>
#include <functional>
#include <list>

namespace {

std::string Simplified(const std::string& path) {
  std::string output = "untouched";
  return KelSimplifyPath(path, output) ? output : output + " fails";
}

TEST(SimplifyPath, GivesAbsolutePathsWithoutDots) {
  const TemporaryFolder folder;
  const auto previous = std::filesystem::current_path();
  std::filesystem::create_directories(folder / "b");
  std::filesystem::current_path(folder / "b");
  const std::string here = folder / "b";
  const std::string failure = "untouched fails";
  const char* const deep = "../../../../../../../../../../../../../..";
  const std::vector<std::pair<std::string, std::string>> cases{
      {"/a/b/c", "/a/b/c"},
      {"/a/./b/../c/", "/a/c"},
      {"/a/b/..", "/a"},
      {"/a/..", "/"},
      {"/", "/"},
      {"/./", "/"},
      {"/a/./..", "/"},
      {"/..", failure},
      {"/a/../..", failure},
      {"/a//b", "/a//b"},
      {"/a//", "/a//"},
      {"//a", "//a"},
      {"/a/.../b", "/a/.../b"},
      {"", failure},
      {deep, failure},
      {"x/../y", here + "/y"},
      {"..", folder.Path()},
      {".", here},
      {"../c//d/./", folder / "c//d"},
      {".x", here + "/.x"},
  };
  for (const auto& [path, expected] : cases) {
    EXPECT_EQ(Simplified(path), expected) << path;
  }
  std::filesystem::current_path("/");
  EXPECT_EQ(Simplified("x/."), "/x");
  std::filesystem::current_path(here);
  std::filesystem::remove(here);
  EXPECT_EQ(Simplified("x"), failure) << "no working directory";
  std::filesystem::current_path(previous);
}

// The rules as they read, one character and one component after the other.
std::string SimplifiedSlowly(const std::string& path) {
  std::list<std::string> components;
  for (std::size_t at = path[0] == '/' ? 1 : 0; at < path.size(); ++at) {
    components.emplace_back(1, path[at]);
    while (++at < path.size() && path[at] != '/') {
      components.back() += path[at];
    }
  }
  for (auto at = components.begin(); at != components.end();) {
    if (*at == "..") {
      if (at == components.begin()) {
        return "untouched fails";
      }
      at = components.erase(std::prev(at), std::next(at));
    } else {
      at = *at == "." ? components.erase(at) : std::next(at);
    }
  }
  std::string output = components.empty() ? "/" : "";
  for (const std::string& component : components) {
    output += "/" + component;
  }
  return output;
}

TEST(SimplifyPath, DoesAsTheSlowVersionForEveryShortPath) {
  const std::function<void(const std::string&)> check = [&check](const std::string& path) {
    const std::string expected = SimplifiedSlowly(path);
    ASSERT_EQ(Simplified(path), expected) << path;
    if (expected.front() == '/') {
      ASSERT_EQ(Simplified(expected), expected) << "once more";
    }
    for (const char* next : {"/", ".", "a"}) {
      if (path.size() < 9) {
        check(path + next);
      }
    }
  };
  check("/");
}

TEST(FullPathName, EmptiesStringsAndLeavesOtherTextsAlone) {
  std::string output = "before";
  EXPECT_FALSE(KelGetFullPathName(std::string(), output));
  EXPECT_EQ(output, "");
  CKelStr<char> path;
  CKelStr<char> text;
  text.assign("before");
  EXPECT_THROW(KelGetFullPathName(path, text), std::logic_error);
  path.assign("/..");
  EXPECT_FALSE(KelGetFullPathName(path, text));
  EXPECT_STREQ(text.m_data, "before");
  path.assign("/a/../b");
  EXPECT_TRUE(KelGetFullPathName(path, path));
  EXPECT_STREQ(path.m_data, "/b");
}

TEST(Paths, AreJoined) {
  const std::vector<std::vector<std::string>> cases{{"a/", "/b", "a/b"}, {"a///", "///b", "a/b"}, {"", "b", "/b"},
                                                    {"a", "", "a/"},     {"/", "b", "/b"},        {"", "", "/"}};
  for (const auto& names : cases) {
    EXPECT_EQ(KelJoinPaths(names[0], names[1], 0), names[2]);
    EXPECT_EQ(KelJoinPaths(names[0], names[1].c_str(), '/'), names[2]);
  }
  EXPECT_EQ(KelJoinPaths("a/", "b", '\\'), "a/\\b");
  EXPECT_EQ(KelJoinPaths("a", static_cast<const char*>(nullptr), 0), "a/");
}

TEST(Paths, AreParsed) {
  const std::vector<std::vector<std::string>> cases{{"/a/b/c.txt", "/a/b/", "c.txt", "true"},
                                                    {"/a/b/", "/a/", "b", "true"},
                                                    {"/", "/", "", "true"},
                                                    {"//", "/", "", "true"},
                                                    {"c.txt", "", "c.txt", "false"},
                                                    {"a/", "", "a/", "false"},
                                                    {"a//b//", "a//", "b", "true"},
                                                    {"", "untouched", "untouched", "false"}};
  for (const auto& parts : cases) {
    std::string folder = "untouched";
    std::string name = "untouched";
    EXPECT_EQ(KelParseFilePath(parts[0], folder, name), parts[3] == "true") << parts[0];
    EXPECT_EQ(folder + "|" + name, parts[1] + "|" + parts[2]) << parts[0];
  }
  CKelStr<char> empty;
  CKelStr<char> name;
  empty.assign("");
  name.assign("before");
  EXPECT_FALSE(KelParseFilePath(empty, empty, name));
  EXPECT_STREQ(name.m_data, "");
}

TEST(Extensions, AreFoundReplacedAndRemoved) {
  // Path, path with ".new", replaced extension ("-" for none), without extension, file name.
  const std::vector<std::vector<std::string>> cases{{"b.mov", "b.new", ".mov", "b", "b.mov"},
                                                    {"a.b/c", "a.b/c.new", "-", "a.b/c", "c"},
                                                    {"x.", "x.new", ".", "x", "x."},
                                                    {"a.b\\c", "a.b\\c.new", "-", "a.b\\c", "c"},
                                                    {"dir/f.tar.gz", "dir/f.tar.new", ".gz", "dir/f.tar", "f.tar.gz"},
                                                    {".hidden", ".new", ".hidden", "", ".hidden"},
                                                    {"a\\b/c", "a\\b/c.new", "-", "a\\b/c", "c"},
                                                    {"a/b.x\\c", "a/b.x\\c.new", "-", "a/b", "c"},
                                                    {"dir/", "dir/.new", "-", "dir/", ""},
                                                    {"", "", "-", "", ""}};
  for (const auto& parts : cases) {
    std::string path = parts[0];
    std::string old = "-";
    EXPECT_EQ(KelReplaceFilenameExtension(path, ".new", &old), parts[2] != "-") << parts[0];
    EXPECT_EQ(path + " " + old, parts[1] + " " + parts[2]) << parts[0];
    EXPECT_EQ(KelGetPathFileNameNoExtension(parts[0]), parts[3]) << parts[0];
    EXPECT_EQ(KelGetFileNameWithExtension(parts[0]), parts[4]) << parts[0];
    path = parts[0];
    EXPECT_EQ(KelRemoveFilenameExtension(path), parts[2] != "-");
    EXPECT_EQ(path + (parts[2] == "-" ? "" : parts[2]), parts[0]);
  }
  EXPECT_TRUE(KelFilenameExtensionMatches("clip.mov", ".MOV") && KelFilenameExtensionMatches("CLIP.MOV", "mov") &&
              KelFilenameExtensionMatches("a", "") && KelFilenameExtensionMatches(nullptr, nullptr));
  EXPECT_FALSE(KelFilenameExtensionMatches("a", "abc") || KelFilenameExtensionMatches("a.wav", "mov"));
}

TEST(UncPaths, FollowTheFirstSmbVolume) {
  const std::vector<Mount> mounts{{"ext4", "/Volumes/disk", "/dev/sda1"},
                                  {"smbfs", "", "//nobody@nowhere/none"},
                                  {"smbfs", "/Volumes/share", "//me@server._smb._tcp.local/share"},
                                  {"cifs", "/Volumes/share/inner", "//late/never"},
                                  {"smb3", "/mnt", "//server/share"}};
  const std::vector<std::pair<std::string, std::string>> cases{{"/Volumes/share/dir/a.mov", "server/share/dir/a.mov"},
                                                               {"/Volumes/share/", "server/share/"},
                                                               {"/Volumes/share/inner/a", "server/share/inner/a"},
                                                               {"/mnt/dir/a.mov", "//server/share/dir/a.mov"},
                                                               {"/Volumes/share", "/Volumes/share"},
                                                               {"/Volumes/shared/a", "/Volumes/shared/a"},
                                                               {"/Volumes/disk/a", "/Volumes/disk/a"},
                                                               {"", ""}};
  for (const auto& [path, expected] : cases) {
    EXPECT_EQ(ConvertToUnc(path, mounts), expected);
  }
  EXPECT_EQ(ConvertToUnc("/m/a", {{"smbfs", "/m", "x._smb._tcp.local"}}), "x._smb._tcp.local/a")
      << "too near the front";
  const TemporaryFolder local;
  EXPECT_EQ(ConvertMacPathToUnc(local.Path()), local.Path());
}

TEST(KelStr, OwnsItsText) {
  CKelStr<char> text;
  EXPECT_EQ(text.m_data, nullptr);
  const CKelStr<char> copyOfNothing(text);
  EXPECT_STREQ(copyOfNothing.m_data, "");
  text.assign("ab");
  text += text;
  const CKelStr<char> result = text += "cd";
  EXPECT_EQ(std::string(result.m_data, result.m_length + 1), std::string("ababcd\0", 7));
  text.assign(text.m_data + 4);
  EXPECT_STREQ((text = *&text).m_data, "cd");
  text.fill(3, *text.m_data);
  EXPECT_STREQ(text.m_data, "ccc");
  EXPECT_THROW(text.fill(0xFFFFFFFFU, 'x'), std::bad_alloc);
  text.fill(0, 'x');
  EXPECT_STREQ(text.m_data, "");
  text.assign(nullptr);
  EXPECT_TRUE(text.m_data == nullptr && text.m_length == 0);
}

}  // namespace
