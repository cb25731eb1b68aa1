#include "Tests/Support/TemporaryFolder.h"
#include "Toolbox/KelUtils/Files.h"
#include "Toolbox/KelUtils/OpenFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <array>
#include <chrono>
#include <regex>

namespace {

namespace fs = std::filesystem;

// A stream over a text that hands out and takes few bytes at a time, and fails when it is told to.
struct Device {
  std::string content;
  std::size_t position = 0;
  bool canSeek = true;
  std::size_t room = 1000000;

  FILE* Open() {
    cookie_io_functions_t functions{};
    functions.read = [](void* self, char* buffer, std::size_t size) -> ssize_t {
      auto& device = *static_cast<Device*>(self);
      const std::size_t count =
          std::min({size, std::size_t{7}, device.content.size() - std::min(device.position, device.content.size())});
      device.content.copy(buffer, count, device.position);
      device.position += count;
      return static_cast<ssize_t>(count);
    };
    functions.write = [](void* self, const char* buffer, std::size_t size) -> ssize_t {
      auto& device = *static_cast<Device*>(self);
      const std::size_t count = std::min({size, std::size_t{7}, device.room - device.content.size()});
      device.content.append(buffer, count);
      return static_cast<ssize_t>(count);
    };
    functions.seek = [](void* self, off64_t* offset, int whence) {
      auto& device = *static_cast<Device*>(self);
      // Its end lies behind what can be read.
      const std::size_t end = device.content.size() + 5;
      const std::size_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? device.position : end;
      device.position = static_cast<std::size_t>(*offset += static_cast<off64_t>(base));
      return device.canSeek ? 0 : -1;
    };
    FILE* const stream = fopencookie(this, "r+", functions);
    std::setvbuf(stream, nullptr, _IONBF, 0);
    return stream;
  }
};

TEST(LoadFile, GetsAllOfAFileAndKeepsThePosition) {
  const TemporaryFolder folder;
  for (const std::size_t size : {0, 1, 65535, 65536, 65537, 300000}) {
    std::string content(size, 'x');
    content[size / 2] = '\0';
    const TKelOpenFile file(folder.Write("file", content.substr(0, size)).c_str(), "rb");
    kel_fseek64(file.m_file, static_cast<long long>(size / 3), SEEK_SET);
    std::string data = "before";
    EXPECT_TRUE(KelLoadFile(file.m_file, data));
    EXPECT_EQ(data, content.substr(0, size));
    EXPECT_EQ(kel_ftell64(file.m_file), static_cast<long long>(size / 3));
    EXPECT_EQ(kel_fileSize64(file.m_file), static_cast<long long>(size));
    EXPECT_EQ(KelFileSize((folder / "file").c_str()), static_cast<long long>(size));
  }
}

TEST(LoadFile, FailsWhereAStreamEndsEarlyOrCannotBeMoved) {
  Device shorter{"some text of more than seven bytes"};
  std::string data;
  FILE* stream = shorter.Open();
  EXPECT_FALSE(KelLoadFile(stream, data));
  EXPECT_EQ(data, shorter.content + std::string(5, '\0'));
  std::fclose(stream);
  Device pipe{"text", 0, false};
  stream = pipe.Open();
  EXPECT_FALSE(KelLoadFile(stream, data) || KelLoadFile(nullptr, data));
  std::fclose(stream);
}

TEST(SaveFile, GoesOnAfterPartsAndStopsWhenNothingIsTaken) {
  for (const std::size_t room : {1000, 20}) {
    Device device{"", 0, true, room};
    FILE* const stream = device.Open();
    EXPECT_EQ(KelSaveFile(stream, std::string(50, 'x')), room == 1000);
    EXPECT_TRUE(KelSaveFile(stream, ""));
    std::fclose(stream);
    EXPECT_EQ(device.content, std::string(std::min<std::size_t>(room, 50), 'x'));
  }
}

TEST(WriteFile, SaysWhetherAllOfItIsThere) {
  const TemporaryFolder folder;
  EXPECT_TRUE(KelWriteFile(folder.Write("a", "longer than it was"), std::string("a\0b", 3)));
  EXPECT_EQ(ReadFile(folder / "a"), std::string("a\0b", 3));
  EXPECT_FALSE(KelWriteFile(folder / "none/a", ""));
  EXPECT_FALSE(KelWriteFile("/dev/full", "text"));
}

TEST(FolderPaths, AreMadeLevelByLevel) {
  const TemporaryFolder folder;
  EXPECT_TRUE(KelEnsureDirectoryPathExists(folder / "a/b//c/"));
  struct stat status {};
  stat((folder / "a/b").c_str(), &status);
  EXPECT_EQ(status.st_mode, S_IFDIR | 0700U);
  EXPECT_TRUE(KelEnsureDirectoryPathExists(folder.Write("a/file", "")));
  EXPECT_FALSE(KelEnsureDirectoryPathExists(folder / "a/file/b"));
  std::string endless;
  for (int level = 0; level < 500000; ++level) {
    endless += "a/";
  }
  EXPECT_FALSE(KelEnsureDirectoryPathExists(endless) || KelEnsureDirectoryPathExists(""));
  EXPECT_EQ(folder.Tree(), "a/ a/b/ a/b/c/ a/file= ");
}

TEST(TempFilename, StandsBesideThePath) {
  const std::regex guid("enc_[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}\\.tmp");
  for (const std::string folder : {"", "/tmp/jobs/"}) {
    const std::string name = KelGetTempFilename(folder + "out.mov", "enc_", ".tmp");
    EXPECT_EQ(name.substr(0, folder.size()), folder);
    EXPECT_TRUE(std::regex_match(name.substr(folder.size()), guid)) << name;
    EXPECT_NE(name, KelGetTempFilename(folder + "out.mov", "enc_", ".tmp"));
  }
  std::array<char, 47> buffer{};
  EXPECT_FALSE(KelGetTempFilename(buffer.data(), "enc_", ".tmp", "/d/", 45) ||
               KelGetTempFilename(nullptr, "enc_", ".tmp", "/d/", 47));
  EXPECT_TRUE(KelGetTempFilename(buffer.data(), "enc_", ".tmp", std::string("/d/"), 46));
  EXPECT_TRUE(std::regex_match(buffer.data() + 1, guid)) << buffer.data();
}

TEST(ExclusiveAccess, NeedsAMinuteOnEitherSide) {
  const TemporaryFolder folder;
  const std::string file = folder.Write("a", "");
  for (const int age : {0, 58, -58, 61, -62, 100000}) {
    fs::last_write_time(file, fs::file_time_type::clock::now() - std::chrono::seconds(age));
    testing::internal::CaptureStdout();
    const bool isExclusive = KelCheckExclusiveFileAccess(file.c_str());
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              isExclusive ? " Watchfolder exclusive access: " + file + "  \n" : "");
    EXPECT_EQ(isExclusive, age > 60 || age < -60) << age;
  }
  EXPECT_TRUE(KelCheckExclusiveFileAccess("/none") && KelCheckExclusiveFileAccess(nullptr));
}

}  // namespace
