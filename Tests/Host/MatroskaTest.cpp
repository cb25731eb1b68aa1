// What MatroskaWriter writes beside what libmatroska's own elements render.

#include "Host/Matroska/MatroskaWriter.h"
#include "Host/System/OutputFile.h"
#include "Tests/Support/TemporaryFolder.h"

#include <ebml/MemIOCallback.h>
#include <gtest/gtest.h>
#include <matroska/KaxBlock.h>

#include <initializer_list>
#include <string>
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

}  // namespace
