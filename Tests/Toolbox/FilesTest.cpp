#include "Tests/Support/SystemCalls.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Toolbox/KelUtils/Files/Files.h"
#include "Toolbox/KelUtils/Files/OpenFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <cerrno>
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
  const TKelOpenFile unreadable((folder / "file").c_str(), "r+b");
  std::string data;
  kel_fseek64(unreadable.m_file, 7, SEEK_SET);
  for (const char* call : {"fread", "fseeko"}) {
    const Fault fault(call, 2, EIO);
    EXPECT_TRUE(!KelLoadFile(unreadable.m_file, data) && data.size() == 600000);
    EXPECT_EQ(kel_ftell64(unreadable.m_file), 7) << call;
  }
  mkfifo((folder / "fifo").c_str(), 0600);
  EXPECT_FALSE(KelLoadFile(TKelOpenFile((folder / "fifo").c_str(), "r+").m_file, data) || KelLoadFile(nullptr, data));
  for (const char* const unsized : {folder.Path().c_str(), "/none", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(KelFileSize(unsized), 0);
  }
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
  for (const std::size_t size : {1U, 4096U, 5000000U}) {
    EXPECT_FALSE(KelWriteFile("/dev/full", std::string(size, 'x')));
    const Fault late("close", 1, ENOSPC);
    EXPECT_FALSE(KelWriteFile(folder / "c", std::string(size, 'x'))) << "told when it is closed";
  }
  EXPECT_FALSE(KelWriteFile(folder / "none/a", ""));
  const Fault interrupted("close", 1, EINTR);
  EXPECT_TRUE(KelWriteFile(folder / "d", "text")) << "an interrupted close loses nothing";
}

// The name with every hexadecimal digit of its identifier replaced by h.
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

}  // namespace
