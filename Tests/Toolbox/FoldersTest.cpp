#include "Tests/Support/SystemCalls.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Toolbox/KelUtils/Files.h"
#include "Toolbox/KelUtils/Folders.h"
#include "Toolbox/KelUtils/OpenFile.h"
#include "Toolbox/KelUtils/OpenFolderPrivate.h"
#include "Toolbox/KelUtils/Removal.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <cerrno>

namespace {

namespace fs = std::filesystem;

// What the call throws, or "nothing".
template <class Action>
std::string MessageOf(Action action) {
  try {
    action();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "nothing";
}

// Takes down what it is given, below a folder, until the given name comes.
class Notes : public IKelSomeFileTask {
 public:
  bool processFile(const std::string& path) override {
    m_paths.push_back(path);
    return path.substr(path.rfind('/') + 1) != m_last;
  }
  std::string Sorted(const TemporaryFolder& folder) {
    std::sort(m_paths.begin(), m_paths.end());
    std::string text;
    for (const std::string& path : m_paths) {
      text += (path.starts_with(folder.Path()) ? path.substr(folder.Path().size()) : path) + " ";
    }
    return text;
  }
  std::vector<std::string> m_paths;
  std::string m_last;
};

TEST(OpenFile, SaysWhatItCannotOpen) {
  const TemporaryFolder folder;
  EXPECT_EQ(MessageOf([&] { TKelOpenFile file((folder / "none").c_str(), "rb"); }),
            "failed to open \"" + (folder / "none") + "\", check read/write privileges.");
  EXPECT_EQ(MessageOf([] { TKelOpenFile file(nullptr, "rb"); }), "failed to open \"\", check read/write privileges.");
  const TKelOpenFile file(folder.Write("a", "text").c_str(), "rb,ccs=UTF-8");
  EXPECT_NE(file.m_file, nullptr);
}

TEST(OpenFolder, ListsTheSimplifiedFolderAndSaysWhatItCannotOpen) {
  const TemporaryFolder folder;
  folder.Write("sub/file", "");
  const std::string given = folder / "none/../sub";
  TKelOpenFolder opened(given);
  EXPECT_EQ(opened.folderPath(), folder / "sub");
  std::vector<std::string> items;
  do {
    items.push_back(opened.itemName() + (opened.itemIsFolder() ? "/" : ""));
    EXPECT_EQ(opened.itemPath(), opened.folderPath() + "/" + opened.itemName());
  } while (opened.parseNextItem());
  EXPECT_EQ(opened.itemName() + (opened.itemIsFolder() ? "/" : ""), items.back()) << "stays after the end";
  std::sort(items.begin(), items.end());
  EXPECT_EQ(items, (std::vector<std::string>{"../", "./", "file"}));
  EXPECT_EQ(TKelOpenFolder("/").itemPath().substr(0, 2), "//");

  EXPECT_EQ(MessageOf([] { TKelOpenFolder none(""); }), "invalid (empty) folder path specified");
  for (const std::string& path : {given + "/none", std::string("/.."), folder / "sub/file"}) {
    EXPECT_EQ(MessageOf([&] { TKelOpenFolder none(path); }), "opendir failed for \"" + path + "\"");
  }
  const Fault fault(Call::kReadFolder, 1, EIO);
  EXPECT_EQ(MessageOf([&] { TKelOpenFolder none(given); }), "readdir_r failed for \"" + given + "\"");
}

TEST(OpenFolder, FindsOutUnknownTypes) {
  const TemporaryFolder folder;
  folder.Write("file", "");
  fs::create_directory(folder / "folder");
  fs::create_symlink("folder", folder / "link");
  mkfifo((folder / "fifo").c_str(), 0600);
  const auto typeOf = [](const std::string& path, const char* name, int type) {
    dirent entry{};
    entry.d_type = static_cast<unsigned char>(type);
    std::copy_n(name, std::string(name).size() + 1, entry.d_name);
    const bool isKnown = TKelOpenFolder::TPrivate::fix_DT_UNKNOWN(path, entry);
    return isKnown ? entry.d_type : -1 - entry.d_type;
  };
  EXPECT_EQ(typeOf(folder.Path(), "file", 0), 8);
  EXPECT_EQ(typeOf(folder.Path(), "folder", 0), 4);
  EXPECT_EQ(typeOf(folder.Path(), "link", 0), 4);
  EXPECT_EQ(typeOf(folder.Path(), "fifo", 0), 1);
  EXPECT_EQ(typeOf("/dev", "null", 0), 2);
  EXPECT_EQ(typeOf(folder.Path(), "none", 0), -1);
  EXPECT_EQ(typeOf(folder.Path(), "file", 12), 12) << "known ones are not asked for";
}

TEST(PathQuestions, AskWhatCanBeOpened) {
  const TemporaryFolder folder;
  const std::string file = folder.Write("sub/file", "");
  mkfifo((folder / "fifo").c_str(), 0600);
  fs::create_symlink("none", folder / "dangling");
  // Path, then whether it is a file, a folder, and there.
  const std::vector<std::pair<std::string, std::string>> cases{{file, "101"},
                                                               {folder / "sub", "111"},
                                                               {folder / "sub/x/..", "011"},
                                                               {folder / "none", "000"},
                                                               {folder / "fifo", "101"},
                                                               {folder / "dangling", "000"},
                                                               {"", "000"},
                                                               {std::string("\0/", 2), "010"}};
  for (const auto& [path, expected] : cases) {
    const std::string answers{KelIsPathToFile(path) ? '1' : '0', KelIsPathToFolder(path) ? '1' : '0',
                              KelPathExists(path) ? '1' : '0'};
    EXPECT_EQ(answers, expected) << path;
  }
}

TEST(ForEachFile, WalksEverythingButFoldersAndStops) {
  const TemporaryFolder folder;
  folder.Write("a", "");
  folder.Write("b/c/d", "");
  fs::create_directories(folder / "b/empty");
  fs::create_symlink("b", folder / "link");
  Notes all;
  EXPECT_TRUE(KelForEachFile(folder / "./b/..", all));
  EXPECT_EQ(all.Sorted(folder), "/a /b/c/d /link ");
  EXPECT_EQ(KelCountFiles(folder.Path()), 3U);
  for (const auto& [last, count] : {std::pair(all.m_paths[0], 1), std::pair(all.m_paths[2], 3)}) {
    Notes some;
    some.m_last = fs::path(last).filename();
    const bool isStopped = !KelForEachFile(folder.Path(), some);
    EXPECT_TRUE(isStopped && fs::path(some.m_paths.back()).filename() == some.m_last);
    EXPECT_LE(some.m_paths.size(), 3U);
  }
  Notes one;
  EXPECT_TRUE(KelForEachFile("none/..//given", one));
  EXPECT_EQ(one.Sorted(folder), "none/..//given ");
  Notes unreadable;
  const Fault fault(Call::kOpenFolder, 2, EACCES);
  EXPECT_TRUE(KelForEachFile(folder.Path(), unreadable));
  EXPECT_EQ(unreadable.Sorted(folder), "/a /b /link ");
}

TEST(CountFiles, NeedsEveryFileReadable) {
  const TemporaryFolder folder;
  EXPECT_EQ(KelCountFiles(folder.Path()), 0U);
  EXPECT_EQ(KelCountFiles(folder.Write("a", "")), 1U);
  fs::create_symlink("none", folder / "dangling");
  for (const std::string& path : {folder.Path(), folder / "dangling"}) {
    EXPECT_EQ(MessageOf([&] { KelCountFiles(path); }),
              "failed to open \"" + (folder / "dangling") + "\", check read/write privileges.");
  }
}

TEST(MatchingFiles, AreAppendedByName) {
  const TemporaryFolder folder;
  folder.Write("Clip1.MOV", "");
  fs::create_directory(folder / "Clip2.mov");
  std::list<std::string> names{"kept"};
  EXPECT_TRUE(kel_find_matching_files_UTF8(names, folder.Path(), "Clip", ".mov"));
  EXPECT_FALSE(kel_find_matching_files_UTF8(names, folder.Path().c_str(), "clip", ".mov"));
  EXPECT_TRUE(kel_find_matching_files_UTF8(names, folder.Path().c_str(), nullptr));
  EXPECT_FALSE(kel_find_matching_files_UTF8(names, "", "", ""));
  EXPECT_FALSE(kel_find_matching_files_UTF8(names, folder / "none", "", ""));
  EXPECT_EQ(names, (std::list<std::string>{"kept", "Clip1.MOV", "Clip1.MOV"}));
}

TEST(Removal, TakesTreesAndLinksButNothingBehindThem) {
  const TemporaryFolder folder;
  folder.Write("kept/file", "");
  for (const char* name : {"tree/a/b/c", "tree/a/d", "tree/e"}) {
    folder.Write(name, "");
  }
  fs::create_directory_symlink(folder / "kept", folder / "tree/a/link");
  fs::create_directory_symlink("kept", folder / "link");
  EXPECT_TRUE(kel_remove_dir_recursively_UTF8(folder / "tree/a/.."));
  EXPECT_TRUE(kel_remove_dir_recursively_UTF8((folder / "link/").c_str()));
  EXPECT_FALSE(kel_remove_dir_recursively_UTF8(folder / "kept/file") ||
               kel_remove_dir_recursively_UTF8(folder / "none") ||
               kel_remove_dir_recursively_UTF8(static_cast<const char*>(nullptr)));
  EXPECT_TRUE(kel_remove_dir_recursively_UTF8("") && kel_remove_dir_recursively_UTF8(std::string()));
  EXPECT_EQ(folder.Tree(), "kept/ kept/file= ");
}

TEST(Removal, IsNotLedAstrayByASwappedFolder) {
  const TemporaryFolder folder;
  folder.Write("kept/file", "");
  folder.Write("tree/sub/file", "");
  const auto swap = [&] {
    fs::rename(folder / "tree/sub", folder / "moved");
    fs::create_directory_symlink(folder / "kept", folder / "tree/sub");
  };
  const Fault fault(Call::kOpenAt, 2, swap);
  EXPECT_TRUE(kel_remove_dir_recursively_UTF8(folder / "tree"));
  EXPECT_TRUE(fault.Occurred());
  EXPECT_EQ(folder.Tree(), "kept/ kept/file= moved/ moved/file= ");
}

TEST(Removal, CopesWithWhatOthersAddAndRemove) {
  const TemporaryFolder folder;
  folder.Write("tree/a", "");
  folder.Write("tree/b", "");
  {
    const Fault adds(Call::kRemove, 3, [&] { folder.Write("tree/new/file", ""); });
    EXPECT_TRUE(kel_remove_dir_recursively_UTF8(folder / "tree"));
  }
  folder.Write("tree/a", "");
  const Fault removes(Call::kRemove, 1, [&] { fs::remove(folder / "tree/a"); });
  EXPECT_TRUE(kel_remove_dir_recursively_UTF8(folder / "tree"));
  EXPECT_EQ(folder.Tree(), "");
}

TEST(Removal, StopsAtTheFirstFailure) {
  for (int nth = 1; nth <= 4; ++nth) {
    const TemporaryFolder folder;
    folder.Write("tree/sub/a", "");
    folder.Write("tree/sub/b", "");
    const Fault fault(Call::kRemove, nth, EPERM);
    EXPECT_FALSE(kel_remove_dir_recursively_UTF8(folder / "tree"));
    EXPECT_EQ(std::distance(fs::recursive_directory_iterator(folder.Path()), fs::recursive_directory_iterator()),
              5 - nth);
  }
  const TemporaryFolder folder;
  folder.Write("a", "");
  folder.Write("c", "");
  EXPECT_FALSE(kel_remove_files_UTF8(folder.Path(), {"a", "b", "c"}));
  EXPECT_TRUE(kel_remove_files_UTF8(folder.Path() + "/", {}));
  EXPECT_EQ(folder.Tree(), "c= ");
}

}  // namespace
