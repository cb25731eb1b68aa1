#include "Toolbox/KelUtils/Files/RawDumps.h"

#include "Tests/Support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <climits>

namespace {

unsigned char* Bytes(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

TEST(RawDumps, AppendWhatThereIs) {
  const TemporaryFolder folder;
  std::string path = folder / "dump";
  std::string y = "abcde--fghij--klmno";
  std::string u = "ABC-DEF";
  std::string v = "123-456";
  WriteBitstream(path.data(), Bytes(y), 3);
  WriteBitstream(path.data(), Bytes(y), -1);
  WriteBitstream(path.data(), nullptr, 3);
  WriteFrame(path.data(), Bytes(y), 7, Bytes(u), Bytes(v), 4, 5, 3);
  WriteFrame(path.data(), Bytes(y) + 14, -7, nullptr, Bytes(v), 4, 4, 2);
  for (const int none : {0, -1, INT_MIN}) {
    WriteFrame(path.data(), Bytes(y), 7, Bytes(u), Bytes(v), 4, none, 3);
    WriteFrame(path.data(), Bytes(y), 7, Bytes(u), Bytes(v), 4, 5, none);
  }
  WriteFrame(path.data(), nullptr, 7, nullptr, nullptr, 4, INT_MAX, INT_MAX);
  EXPECT_EQ(ReadFile(path),
            "abc"
            "abcdefghijklmnoABCDEF123456"
            "klmnfghi12");

  std::string noFile = "/";
  WriteBitstream(noFile.data(), Bytes(y), 3);
  WriteFrame(nullptr, Bytes(y), 2, nullptr, nullptr, 0, 2, 2);
}

}  // namespace
