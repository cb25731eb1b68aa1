#include "Tests/Support/SystemCalls.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Toolbox/KelUtils/Files.h"
#include "Toolbox/KelUtils/OpenFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <cerrno>
#include <chrono>
#include <string_view>

namespace {

namespace fs = std::filesystem;

TEST(LoadFile, GetsAllOfAFileAndKeepsThePosition) {
  const TemporaryFolder folder;
  for (const std::size_t size : {0, 1, 262143, 262144, 262145, 600000}) {
    const std::string content = std::string(size / 2, '\0') + std::string(size - size / 2, 'x');
    const TKelOpenFile file(folder.Write("file", content).c_str(), "rb");
    const auto length = static_cast<long long>(size);
    kel_fseek64(file.m_file, length / 3, SEEK_SET);
    std::string data = "before";
    EXPECT_TRUE(KelLoadFile(file.m_file, data) && data == content);
    EXPECT_EQ(kel_ftell64(file.m_file), length / 3);
    EXPECT_TRUE(kel_fileSize64(file.m_file) == length && KelFileSize((folder / "file").c_str()) == length);
  }
  EXPECT_EQ(KelFileSize(folder.Path().c_str()) + KelFileSize("/none") + KelFileSize(nullptr), 0);
}

TEST(Streams, GoOnAfterPartsAndStopWhereNothingMoves) {
  const TemporaryFolder folder;
  const std::string text(1000000, 'x');
  const TKelOpenFile file(folder.Write("file", "").c_str(), "w+b");
  for (const auto& [call, last] : {std::pair(Call::kStreamWrite, 1), std::pair(Call::kStreamRead, 4)}) {
    for (int nth = 1; nth <= last; ++nth) {
      for (const int error : {EIO, 0}) {
        std::string data;
        std::rewind(file.m_file);
        const Fault fault(call, nth, error);
        const bool isSaved = KelSaveFile(file.m_file, text);
        EXPECT_EQ(isSaved && KelLoadFile(file.m_file, data), error == 0);
        EXPECT_TRUE(data.size() == (isSaved ? text.size() : 0) && (error != 0 || data == text)) << nth;
      }
    }
  }
  for (int nth = 1; nth <= 3; ++nth) {
    std::string data;
    const Fault fault(Call::kStreamSeek, nth, EIO);
    EXPECT_FALSE(KelLoadFile(file.m_file, data) || KelLoadFile(nullptr, data));
  }
}

TEST(WriteFile, SaysWhetherAllOfItIsThere) {
  const TemporaryFolder folder;
  EXPECT_TRUE(KelWriteFile(folder.Write("a", "longer than it was"), "text"));
  EXPECT_EQ(folder.Tree(), "a=text ");
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
    EXPECT_TRUE(buffer.c_str() != name && Shape(buffer.c_str()) == Shape(name)) << buffer;
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
