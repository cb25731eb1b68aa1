#include "Toolbox/KelUtils/AudioBuffers.h"

#include "RHOAPI/RHOAPIPacket.h"
#include "Tests/Support/Slots.h"

#include <gtest/gtest.h>

namespace {

TEST(AudioBuffers, KnowTheSizeOfEveryFormat) {
  std::string sizes = std::to_string(BytesPerSample(static_cast<EAudioFormatType>(~0U)));
  for (unsigned format = 0; format < 14; ++format) {
    sizes += std::to_string(BytesPerSample(static_cast<EAudioFormatType>(format)));
  }
  EXPECT_EQ(sizes, "012234412234400");
}

TEST(AudioBuffers, PadBehindTheHeldSamplesAndNowhereElse) {
  struct Case {
    unsigned format, channels, samples, dataSize, frameSize;
    std::size_t kept;
  };
  for (const Case& c :
       {Case{2, 2, 10, 64, 40, 40}, Case{2, 2, 10, 40, 40, 64}, Case{2, 2, 10, 39, 40, 64}, Case{2, 1, 31, 63, 62, 62},
        Case{3, 2, 100, 64, 600, 64}, Case{12, 2, 10, 64, 0, 64}, Case{4, 1U << 15, 1U << 15, 64, 0, 64},
        Case{3, ~0U, ~0U, 64, 3, 64}, Case{13, 2, 10, 64, 0, 0}}) {
    std::string bytes(64, 'x');
    KelAudio_t audio{0, 0,       0, static_cast<EAudioFormatType>(c.format), c.channels, 0, c.samples, c.dataSize,
                     0, nullptr, 0};
    KelPadAudioBufferWithSilence(audio);
    audio.data = reinterpret_cast<unsigned char*>(bytes.data());
    KelPadAudioBufferWithSilence(audio);
    std::string expected(64, 'x');
    for (std::size_t index = c.kept; index < c.dataSize; ++index) {
      expected[index] = '\0';
    }
    EXPECT_EQ(bytes, expected) << c.format << ' ' << c.samples << ' ' << c.dataSize;
    EXPECT_EQ(CalcFrameSize(audio), c.frameSize);
  }
}

TEST(EncodedAudio, GathersPacketsInOneBundle) {
  KelEncAudio_t audio{};
  TRHOAPIPacket* const first = audio.addDataPacket(IPacket::kPacketTypeLinearPCM, nullptr, 0);
  IPacketBundle* const bundle = audio.packets;
  const unsigned char bytes[] = {'a', 0, 'c'};
  TRHOAPIPacket* const second = audio.addDataPacket(IPacket::kPacketTypeBundle, bytes, sizeof bytes);
  EXPECT_TRUE(audio.packets == bundle && bundle->size() == 2 && bundle->get(0) == first && bundle->get(1) == second);
  EXPECT_EQ(ReadSlots(first, 0, "uuqqqb.b."), " 24 0 0 1000 0 null null");
  EXPECT_EQ(ReadSlots(second, 0, "uuqqqb.b."), std::string(" 28 0 0 1000 0 null a\0c", 23));
  CallSlot(bundle, 12);
}

}  // namespace
