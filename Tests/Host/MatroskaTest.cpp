// What MatroskaWriter writes beside what libmatroska's own elements render, and the bytes of files that are read back.

#include "Host/Matroska/MatroskaWriter.h"
#include "Host/System/OutputFile.h"
#include "Host/System/ReadBack.h"
#include "Tests/Support/TemporaryFolder.h"

#include <ebml/MemIOCallback.h>
#include <gtest/gtest.h>
#include <matroska/KaxBlock.h>

#include <algorithm>
#include <initializer_list>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace libmatroska;

constexpr unsigned int kRate = 48000;
constexpr unsigned int kPacketFrames = 1920;
constexpr std::uint64_t kTick = 20833;  // nanoseconds

std::string RenderedBlock(std::vector<unsigned char>& bytes, std::uint64_t tick) {
  KaxTracks tracks;
  auto& track = GetChild<KaxTrackEntry>(tracks);
  track.SetGlobalTimecodeScale(kTick);
  GetChild<KaxTrackNumber>(track).SetValue(1);
  KaxCluster cluster;
  cluster.InitTimecode(0, kTick);
  KaxSimpleBlock block;
  block.SetParent(cluster);
  block.AddFrame(track, tick * kTick, *new DataBuffer(bytes.data(), static_cast<uint32>(bytes.size())), LACING_NONE);
  libebml::MemIOCallback output;
  block.Render(output);
  return {reinterpret_cast<const char*>(output.GetDataBuffer()), output.GetDataBufferSize()};
}

// Sizes around those at which the size field grows.
TEST(MatroskaTest, WritesSimpleBlocksAsLibmatroskaRendersThem) {
  const TemporaryFolder folder;
  for (const std::size_t size :
       std::initializer_list<std::size_t>{1, 122, 123, 5880, 16378, 16379, 2'097'146, 2'097'147}) {
    const std::string path = folder.Path() + "/sound.mkv";
    std::vector<unsigned char> bytes(size, 'x');
    OutputFile file(path, true, Durability::kLeftToSystem);
    MatroskaDescription description;
    description.sampleRate = kRate;
    description.channels = 2;
    description.bitsPerSample = 16;
    description.sampleFramesPerPacket = kPacketFrames;
    MatroskaWriter writer(file, description);
    writer.WritePacket(bytes, 0, kPacketFrames);
    writer.WritePacket(bytes, 1000, kPacketFrames);
    writer.Finish();
    file.Commit();
    const std::string expected = RenderedBlock(bytes, 0) + RenderedBlock(bytes, 1000);
    EXPECT_NE(ReadFile(path).find(expected), std::string::npos) << size << " bytes";
  }
}

// Reads on, stays, skips and goes back, within a chunk and beyond what has been read ahead, to the end and behind it.
TEST(ReadBackTest, GivesTheBytesAtAnyPosition) {
  const TemporaryFolder folder;
  std::mt19937 random(1);
  std::string bytes(3'000'001, '\0');
  for (char& byte : bytes) {
    byte = static_cast<char>(random());
  }
  OutputFile file(folder.Path() + "/file", true, Durability::kLeftToSystem);
  file.Write(bytes.data(), bytes.size());
  file.Sync();
  for (const bool hasHelper : {true, false}) {
    ReadBack readBack(file, hasHelper);
    std::uint64_t position = 0;
    for (int step = 0; step < 3000; ++step) {
      const std::span<const unsigned char> found = readBack.From(position);
      const std::string_view expected = std::string_view(bytes).substr(std::min(position, bytes.size()), found.size());
      ASSERT_TRUE(std::equal(found.begin(), found.end(), expected.begin(), expected.end(),
                             [](unsigned char left, char right) { return left == static_cast<unsigned char>(right); }))
          << position;
      ASSERT_EQ(found.empty(), position >= bytes.size());
      // Mostly to the next chunk.
      position = step % 16 != 0 ? position + found.size() : random() % (bytes.size() + bytes.size() / 8);
    }
  }
}

}  // namespace
