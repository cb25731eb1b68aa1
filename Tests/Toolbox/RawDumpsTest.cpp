#include "Toolbox/KelUtils/RawDumps.h"

#include "Tests/Support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <climits>

namespace {

unsigned char* Bytes(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

TEST(RawDumps, AppendBitstreams) {
  const TemporaryFolder folder;
  std::string path = folder.Path("stream");
  std::string text = "one two";
  WriteBitstream(path.data(), Bytes(text), 3);
  WriteBitstream(path.data(), Bytes(text) + 3, 4);
  WriteBitstream(path.data(), Bytes(text), -1);
  WriteBitstream(path.data(), nullptr, 4);
  EXPECT_EQ(ReadFile(path), "one two");
}

TEST(RawDumps, AppendThePlanesOfFramesWithoutGaps) {
  const TemporaryFolder folder;
  std::string path = folder.Path("frames");
  std::string y = "abcde--fghij--klmno";
  std::string u = "ABC-DEF";
  std::string v = "123-456";
  WriteFrame(path.data(), Bytes(y), 7, Bytes(u), Bytes(v), 4, 5, 3);
  EXPECT_EQ(ReadFile(path), "abcdefghijklmnoABCDEF123456");
  WriteFrame(path.data(), Bytes(y) + 14, -7, nullptr, Bytes(v), 4, 4, 2);
  EXPECT_EQ(ReadFile(path), "abcdefghijklmnoABCDEF123456klmnfghi12");
  for (const int none : {0, -1, INT_MIN}) {
    WriteFrame(path.data(), Bytes(y), 7, Bytes(u), Bytes(v), 4, none, 3);
    WriteFrame(path.data(), Bytes(y), 7, Bytes(u), Bytes(v), 4, 5, none);
  }
  WriteFrame(path.data(), nullptr, 7, nullptr, nullptr, 4, INT_MAX, INT_MAX);
  EXPECT_EQ(ReadFile(path).size(), 37);
}

TEST(RawDumps, SayNothingWhenTheFileCannotBeOpened) {
  std::string folder = "/";
  std::string text = "text";
  for (char* const path : {folder.data(), static_cast<char*>(nullptr)}) {
    WriteBitstream(path, Bytes(text), 4);
    WriteFrame(path, Bytes(text), 2, nullptr, nullptr, 0, 2, 2);
  }
}

}  // namespace
