#include "Tests/Support/TemporaryFolder.h"
#include "Toolbox/KelUtils/Files/Files.h"
#include "Toolbox/KelUtils/Files/OpenFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <algorithm>
#include <chrono>
#include <string_view>

namespace {

TEST(LoadFile, GetsAllOfAFileAndKeepsThePosition) {
  const TemporaryFolder folder;
  for (const std::size_t size : {0U, 1U, 262143U, 262144U, 262145U, 600000U}) {
    const std::string content = std::string(size / 2, '\0') + std::string(size - size / 2, 'x');
    const TKelOpenFile file(folder.Write("file", content).c_str(), "rb");
    const auto length = static_cast<long long>(size);
    kel_fseek64(file.m_file, length / 3, SEEK_SET);
    std::string data = "before";
    EXPECT_TRUE(KelLoadFile(file.m_file, data) && data == content);
    EXPECT_EQ(kel_ftell64(file.m_file), length / 3);
    EXPECT_TRUE(kel_fileSize64(file.m_file) == length && KelFileSize((folder / "file").c_str()) == length);
  }
  const TKelOpenFile unreadable((folder / "file").c_str(), "ab");
  std::string data;
  EXPECT_FALSE(KelLoadFile(unreadable.m_file, data));
  EXPECT_EQ(data, std::string(600000, '\0'));
  mkfifo((folder / "fifo").c_str(), 0600);
  EXPECT_FALSE(KelLoadFile(TKelOpenFile((folder / "fifo").c_str(), "r+").m_file, data) || KelLoadFile(nullptr, data));
  EXPECT_EQ(KelFileSize(folder.Path().c_str()) + KelFileSize("/none") + KelFileSize(nullptr), 0);
}

TEST(SavingFiles, SaysWhetherAllOfItIsThere) {
  const TemporaryFolder folder;
  const TKelOpenFile appended(folder.Write("b", "12").c_str(), "ab");
  const TKelOpenFile full("/dev/full", "wb");
  std::setvbuf(full.m_file, nullptr, _IONBF, 0);
  EXPECT_TRUE(KelSaveFile(appended.m_file, "34") && KelSaveFile(full.m_file, "") && std::fflush(appended.m_file) == 0);
  EXPECT_FALSE(KelSaveFile(full.m_file, "text") || KelSaveFile(nullptr, ""));
  EXPECT_TRUE(KelWriteFile(folder.Write("a", "longer than it was"), "text"));
  EXPECT_EQ(folder.Tree(), "a=text b=1234 ");
  EXPECT_FALSE(KelWriteFile(folder / "none/a", "") || KelWriteFile("/dev/full", "text"));
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

// The name with an h for every hexadecimal digit of its identifier.
std::string Shape(std::string name) {
  const auto isDigit = [](char c) { return std::string_view("0123456789abcdef").find(c) != std::string_view::npos; };
  std::replace_if(name.begin() + static_cast<std::ptrdiff_t>(name.find('_')), name.end() - 4, isDigit, 'h');
  return name;
}

TEST(TempFilename, StandsBesideThePath) {
  for (const std::string folder : {"", "/d/"}) {
    std::string buffer(100, 'x');
    const std::string path = folder + "out.mov";
    const std::string name = KelGetTempFilename(path, "enc_", ".tmp");
    EXPECT_EQ(Shape(name), folder + "enc_hhhhhhhh-hhhh-hhhh-hhhh-hhhhhhhhhhhh.tmp");
    EXPECT_FALSE(KelGetTempFilename(buffer.data(), "enc_", ".tmp", path, name.size()) ||
                 KelGetTempFilename(nullptr, "enc_", ".tmp", path, 100));
    EXPECT_TRUE(KelGetTempFilename(buffer.data(), "enc_", ".tmp", path.c_str(), name.size() + 1));
    buffer.resize(buffer.find('\0'));
    EXPECT_TRUE(buffer != name && Shape(buffer) == Shape(name)) << buffer;
  }
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

}  // namespace
