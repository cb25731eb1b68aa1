#include "Tests/Support/SystemCalls.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Toolbox/KelUtils/Files/Copying.h"
#include "Toolbox/KelUtils/Files/Files.h"
#include "Toolbox/KelUtils/Files/Folders.h"
#include "Toolbox/KelUtils/Files/Internal/OpenFolderPrivate.h"
#include "Toolbox/KelUtils/Files/OpenFile.h"
#include "Toolbox/KelUtils/Files/Removal.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <set>

namespace {

std::string FailedToOpen(const std::string& path) {
  return "failed to open \"" + path + "\", check read/write privileges.";
}

// A tree with files, nested folders, an empty folder and a link to a folder.
struct SampleTree : TemporaryFolder {
  SampleTree() {
    Write("a", "");
    Write("b/c/d", "");
    fs::create_directories(*this / "empty");
    fs::create_directory_symlink("b", *this / "link");
  }
};

using Files = std::set<std::string>;

// Collects files until it has m_limit.
struct Collector : IKelSomeFileTask {
  bool processFile(const std::string& file) override { return m_files.insert(file), m_files.size() < m_limit; }
  Files m_files;
  std::size_t m_limit = 9;
};

TEST(OpenFile, SaysWhatItCannotOpen) {
  const SampleTree tree;
  EXPECT_EQ(MessageOf([&] { KelCountFiles(tree / "none"); }), FailedToOpen(tree / "none"));
  EXPECT_EQ(MessageOf([] { TKelOpenFile(nullptr, "rb"); }), FailedToOpen(""));
  const TKelOpenFile file((tree / "a").c_str(), "rb");
  EXPECT_EQ(fcntl(fileno(file.m_file), F_GETFD), FD_CLOEXEC);
}

TEST(OpenFolder, ListsTheSimplifiedFolderAndSaysWhatItCannotOpen) {
  const SampleTree tree;
  TKelOpenFolder opened(tree / "none/..");
  std::multiset<std::string> items;
  std::string last;
  do {
    last = opened.itemName() + (opened.itemIsFolder() ? "/" : "");
    items.insert(last);
    EXPECT_EQ(opened.itemPath(), opened.folderPath() + "/" + opened.itemName());
  } while (opened.parseNextItem());
  EXPECT_EQ(items, (std::multiset<std::string>{"../", "./", "a", "b/", "empty/", "link"}));
  EXPECT_EQ(opened.itemName() + (opened.itemIsFolder() ? "/" : ""), last) << "stays after the end";
  EXPECT_EQ(opened.folderPath() + TKelOpenFolder("/").itemPath().substr(0, 2), tree.Path() + "//");

  EXPECT_EQ(MessageOf([] { TKelOpenFolder none(""); }), "invalid (empty) folder path specified");
  for (const std::string& path : {tree / "x/../none", std::string("/.."), tree / "a"}) {
    EXPECT_EQ(MessageOf([&] { TKelOpenFolder none(path); }), "opendir failed for \"" + path + "\"");
  }
  const Fault fault("getdents64", 1, EIO);
  EXPECT_EQ(MessageOf([] { TKelOpenFolder none("/."); }), "readdir_r failed for \"/.\"");
}

TEST(OpenFolder, ListsNamesOfAnyLengthAndEndsWhereItCannotRead) {
  const SampleTree tree;
  const std::string name(300, 'n');
  Collector all;
  const ListedFile listed(name);
  EXPECT_TRUE(KelForEachFile(tree / "b/c", all));
  EXPECT_EQ(all.m_files, (Files{tree / "b/c/d", tree / "b/c/" + name}));
  Collector some;
  const Fault fault("getdents64", 2, EIO);
  EXPECT_TRUE(KelForEachFile(tree / "b/c", some) && fault.Occurred());
  EXPECT_EQ(some.m_files, all.m_files) << "until then";
  const Fault interrupted("getdents64", 1, EINTR, false);
  Collector again;
  EXPECT_TRUE(KelForEachFile(tree / "b", again) && interrupted.Occurred());
  EXPECT_TRUE(again.m_files.contains(tree / "b/c/d")) << "an interrupted call is repeated";
}

TEST(OpenFolder, TellsFoldersWhereTheFileSystemDoesNot) {
  const SampleTree tree;
  const ListedFile listed("gone");
  Collector all;
  EXPECT_TRUE(KelForEachFile(tree / "b", all));
  EXPECT_EQ(all.m_files, (Files{tree / "b/gone", tree / "b/c/gone", tree / "b/c/d"}));
  EXPECT_TRUE(kel_remove_dir_recursively_UTF8(tree / "b"));
  EXPECT_FALSE(fs::exists(tree / "b"));
}

TEST(OpenFolder, FindsOutUnknownTypes) {
  const SampleTree tree;
  mkfifo((tree / "fifo").c_str(), 0600);
  for (const auto& [name, type] : {std::pair("a", 8), std::pair("link", 4), std::pair("fifo", 1), std::pair("?", 0)}) {
    dirent entry{};
    std::copy_n(name, std::string(name).size() + 1, entry.d_name);
    EXPECT_EQ(TKelOpenFolder::TPrivate::fix_DT_UNKNOWN(tree.Path(), entry), type != 0);
    EXPECT_EQ(entry.d_type, type) << name;
  }
}

TEST(PathQuestions, AskWhatCanBeOpened) {
  const SampleTree tree;
  mkfifo((tree / "fifo").c_str(), 0600);
  fs::create_symlink("none", tree / "dangling");
  // A path, and the results of KelIsPathToFile, KelIsPathToFolder and KelPathExists.
  const std::pair<std::string, std::string> cases[] = {
      {tree / "a", "101"},        {tree / "b", "111"}, {tree / "x/..", "011"},        {tree / "fifo", "101"},
      {tree / "dangling", "000"}, {"", "000"},         {std::string("\0/", 2), "010"}};
  for (const auto& [path, expected] : cases) {
    const std::string answers{KelIsPathToFile(path) ? '1' : '0', KelIsPathToFolder(path) ? '1' : '0',
                              KelPathExists(path) ? '1' : '0'};
    EXPECT_EQ(answers, expected) << path;
  }
  const Fault leased("open", 1, EWOULDBLOCK);
  EXPECT_TRUE(KelIsPathToFile(tree / "a"));
}

TEST(ForEachFile, WalksEverythingButFoldersAndStops) {
  const SampleTree tree;
  Collector all;
  EXPECT_TRUE(KelForEachFile(tree / "./b/..", all) && KelForEachFile("none/..//x", all));
  EXPECT_EQ(all.m_files, (Files{tree / "a", tree / "b/c/d", tree / "link", "none/..//x"}));
  for (const std::size_t limit : {1U, 2U, 3U}) {
    Collector some;
    some.m_limit = limit;
    EXPECT_TRUE(!KelForEachFile(tree.Path(), some) && some.m_files.size() == limit);
  }
  Collector unlisted;
  const Fault fault("openat", 2, EACCES);
  EXPECT_TRUE(KelForEachFile(tree / "b", unlisted));
  EXPECT_EQ(unlisted.m_files, Files{tree / "b/c"}) << "handed out like a file";
}

TEST(ForEachFile, FindsNothingInAFolderThatIsGone) {
  const SampleTree tree;
  const int folder = open((tree / "empty").c_str(), O_RDONLY | O_CLOEXEC);
  fs::remove(tree / "empty");
  Collector none;
  EXPECT_TRUE(KelForEachFile("/proc/self/fd/" + std::to_string(folder), none));
  EXPECT_EQ(none.m_files, Files{}) << "a listing without even \".\"";
  close(folder);
}

TEST(ForEachFile, PassesOnWhatTheTaskThrows) {
  const SampleTree tree;
  struct : IKelSomeFileTask {
    bool processFile(const std::string& file) override { throw std::runtime_error(file); }
  } throwing;
  const auto openBefore = OpenDescriptors();
  EXPECT_EQ(MessageOf([&] { KelForEachFile(tree / "b", throwing); }), tree / "b/c/d");
  EXPECT_EQ(OpenDescriptors(), openBefore);
}

// While it exists, the test does not run as root.
struct AnotherUserThanRoot {
  AnotherUserThanRoot() { EXPECT_TRUE(geteuid() != 0 || seteuid(65534) == 0); }
  AnotherUserThanRoot(const AnotherUserThanRoot&) = delete;
  AnotherUserThanRoot& operator=(const AnotherUserThanRoot&) = delete;
  ~AnotherUserThanRoot() { EXPECT_TRUE(getuid() != 0 || seteuid(0) == 0); }
};

TEST(Folders, ThatMayNotBeReadAreFilesThatCannotBeOpened) {
  const SampleTree tree;
  for (const char* folder : {".", "b", "empty"}) {
    fs::permissions(tree / folder, fs::perms::all);
  }
  fs::permissions(tree / "b/c", fs::perms::owner_exec | fs::perms::others_exec);
  const AnotherUserThanRoot user;
  Collector all;
  EXPECT_TRUE(KelForEachFile(tree / "b", all));
  EXPECT_EQ(all.m_files, Files{tree / "b/c"});
  EXPECT_EQ(MessageOf([&] { KelCountFiles(tree.Path()); }), FailedToOpen(tree / "b/c"));
  EXPECT_EQ(MessageOf([&] { KelCopy(tree / "b", tree / "empty/copy", nullptr); }),
            "opendir failed for \"" + (tree / "b/c\""));
  std::list<std::string> names;
  EXPECT_FALSE(KelIsPathToFolder(tree / "b/c") || KelPathExists(tree / "b/c") ||
               KelEnsureDirectoryPathExists(tree / "b/c/e") || kel_remove_dir_recursively_UTF8(tree / "b") ||
               kel_find_matching_files_UTF8(names, tree / "b/c", "", ""));
}

TEST(CountFiles, NeedsEveryFileReadable) {
  const SampleTree tree;
  EXPECT_EQ(KelCountFiles(tree / "empty"), 0U);
  EXPECT_EQ(KelCountFiles(tree.Path()), 3U);
  EXPECT_EQ(KelCountFiles(tree / "a"), 1U);
  fs::create_symlink("none", tree / "b/dangling");
  EXPECT_EQ(MessageOf([&] { KelCountFiles(tree.Path()); }), FailedToOpen(tree / "b/dangling"));
}

TEST(FolderPaths, AreMadeLevelByLevel) {
  const TemporaryFolder folder;
  EXPECT_TRUE(KelEnsureDirectoryPathExists(folder / "a/b//c/"));
  struct stat status {};
  stat((folder / "a/b").c_str(), &status);
  EXPECT_EQ(status.st_mode, S_IFDIR | 0700U);
  EXPECT_TRUE(KelEnsureDirectoryPathExists(folder.Write("a/file", "")));
  std::string endless;
  for (int level = 0; level < 500000; ++level) {
    endless += "a/";
  }
  EXPECT_FALSE(KelEnsureDirectoryPathExists(folder / "a/file/b") || KelEnsureDirectoryPathExists(endless) ||
               KelEnsureDirectoryPathExists(""));
  EXPECT_EQ(folder.Tree(), "a/ a/b/ a/b/c/ a/file= ");
}

TEST(ExclusiveAccess, NeedsAMinuteOnEitherSide) {
  const TemporaryFolder folder;
  const std::string file = folder.Write("a", "");
  for (const int age : {0, 58, -58, 61, -62, 100000}) {
    fs::last_write_time(file, fs::file_time_type::clock::now() - std::chrono::seconds(age));
    testing::internal::CaptureStdout();
    EXPECT_EQ(KelCheckExclusiveFileAccess(file.c_str()), age > 60 || age < -60) << age;
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              age > 60 || age < -60 ? " Watchfolder exclusive access: " + file + "  \n" : "");
  }
  EXPECT_TRUE(KelCheckExclusiveFileAccess("/none"));
}

TEST(MatchingFiles, AreAppendedByName) {
  const TemporaryFolder folder;
  folder.Write("Clip1.MOV", "");
  folder.Write("Clip2.mov/Clip3.mov", "");
  std::list<std::string> names{"kept"};
  EXPECT_TRUE(kel_find_matching_files_UTF8(names, folder.Path(), "Clip", ".mov"));
  EXPECT_FALSE(kel_find_matching_files_UTF8(names, folder.Path().c_str(), "clip", ".mov"));
  EXPECT_TRUE(kel_find_matching_files_UTF8(names, folder.Path().c_str(), nullptr));
  EXPECT_FALSE(kel_find_matching_files_UTF8(names, "", "") || kel_find_matching_files_UTF8(names, "/none", ""));
  EXPECT_EQ(names, (std::list<std::string>{"kept", "Clip1.MOV", "Clip1.MOV"}));
}

TEST(Removal, TakesTreesAndLinksButNothingBehindThem) {
  const SampleTree tree;
  fs::create_directory_symlink(tree / "b", tree / "empty/link");
  EXPECT_TRUE(kel_remove_dir_recursively_UTF8(tree / "empty/x/..") && kel_remove_dir_recursively_UTF8(tree / "link//"));
  EXPECT_FALSE(kel_remove_dir_recursively_UTF8(tree / "a") || kel_remove_dir_recursively_UTF8(tree / "none") ||
               kel_remove_dir_recursively_UTF8(static_cast<const char*>(nullptr)));
  EXPECT_TRUE(kel_remove_dir_recursively_UTF8("") && kel_remove_dir_recursively_UTF8(std::string()));
  EXPECT_EQ(tree.Tree(), "a= b/ b/c/ b/c/d= ");
  EXPECT_FALSE(kel_remove_files_UTF8(tree / "b/c", {"d", "x", "../../a"}));
  EXPECT_TRUE(kel_remove_files_UTF8(tree / "b/", {"c"}) && kel_remove_files_UTF8("", {}));
  EXPECT_EQ(tree.Tree(), "a= b/ ");
}

TEST(Removal, IsNotLedAstrayByWhatOthersDo) {
  const SampleTree tree;
  const Fault swaps("openat", 2, [&tree] {
    fs::rename(tree / "b/c", tree / "moved");
    fs::create_directory_symlink(tree / "moved", tree / "b/c");
  });
  EXPECT_TRUE(kel_remove_dir_recursively_UTF8(tree / "b"));
  EXPECT_EQ(tree.Tree(), "a= empty/ link@ moved/ moved/d= ");
  const Fault removes("unlinkat", 1, [&tree] { fs::remove(tree / "moved/d"); });
  EXPECT_TRUE(kel_remove_dir_recursively_UTF8(tree / "moved"));
  const Fault adds("unlinkat", 2, [&tree] { tree.Write("empty/new/file", ""); });
  tree.Write("empty/file", "");
  EXPECT_TRUE(kel_remove_dir_recursively_UTF8(tree / "empty"));
  EXPECT_EQ(tree.Tree(), "a= link@ ");
  fs::create_directory(tree / "gone");
  const Fault removesAll("unlinkat", 1, [&tree] { fs::remove(tree / "gone"); });
  EXPECT_TRUE(kel_remove_dir_recursively_UTF8(tree / "gone")) << "another process has done it";
}

TEST(Removal, GoesDeeperThanTheStack) {
  const TemporaryFolder folder;
  std::string root = folder / "deep";
  std::string path = root;
  for (int level = 0; level < 900; ++level) {
    path += "/d";
  }
  fs::create_directories(path);
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 128UL * 1024);
  pthread_t thread{};
  const auto remove = [](void* name) -> void* {
    return kel_remove_dir_recursively_UTF8(static_cast<const char*>(name)) ? name : nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, remove, root.data()), 0);
  void* result = nullptr;
  EXPECT_TRUE(pthread_join(thread, &result) == 0 && result == root.data());
}

}  // namespace
