#include "Toolbox/KelUtils/Media/AudioBuffers.h"

#include "RHOAPI/RHOAPIPacket.h"
#include "Tests/Support/Slots.h"
#include "Toolbox/KelUtils/Media/ChannelModes.h"

#include <gtest/gtest.h>
#include <array>

TEST(AudioBuffers, KnowTheSizeOfEveryFormat) {
  std::string sizes = std::to_string(BytesPerSample(static_cast<EAudioFormatType>(~0U)));
  for (unsigned format = 0; format < 14; ++format) {
    sizes += std::to_string(BytesPerSample(static_cast<EAudioFormatType>(format)));
  }
  EXPECT_EQ(sizes, "012234412234400");
}

TEST(AudioBuffers, PadBehindTheHeldSamplesAndNowhereElse) {
  constexpr std::array<unsigned, 6> kCases[] = {
      {2, 2, 10, 64, 40, 40},   {2, 2, 10, 40, 40, 64}, {2, 2, 10, 39, 40, 64}, {2, 1, 31, 63, 62, 62},
      {3, 2, 100, 64, 600, 64}, {12, 2, 10, 64, 0, 64}, {13, 2, 10, 64, 0, 0},  {4, 1U << 15, 1U << 15, 64, 0, 64},
      {3, ~0U, ~0U, 64, 3, 64}};
  for (const auto& [format, channels, samples, size, frameSize, kept] : kCases) {
    std::string bytes(64, 'x');
    KelAudio_t audio{0, 0, 0, static_cast<EAudioFormatType>(format), channels, 0, samples, size, 0, nullptr, 0};
    KelPadAudioBufferWithSilence(audio);
    audio.data = reinterpret_cast<unsigned char*>(bytes.data());
    KelPadAudioBufferWithSilence(audio);
    const std::string expected = std::string(kept, 'x') + std::string(kept < size ? size - kept : 0, '\0');
    EXPECT_EQ(bytes, expected + std::string(64 - expected.size(), 'x')) << format << ' ' << samples << ' ' << size;
    EXPECT_EQ(CalcFrameSize(audio), frameSize);
  }
}

TEST(EncodedAudio, GathersPacketsInOneBundle) {
  KelEncAudio_t audio{};
  const unsigned char bytes[] = {'a', 0, 'c'};
  audio.addDataPacket(IPacket::kPacketTypeLinearPCM, nullptr, 0);
  EXPECT_EQ(audio.packets->get(1), nullptr);
  const TRHOAPIPacket* const second = audio.addDataPacket(IPacket::kPacketTypeNone, bytes, 3);
  EXPECT_EQ(audio.packets->get(1), second);
  EXPECT_EQ(ReadSlots(audio.packets->get(0), 0, "uuqqqb.b."), " 24 0 0 1000 0 null null");
  EXPECT_EQ(ReadSlots(second, 0, "uuqqqb.b."), std::string(" 0 0 0 1000 0 null a\0c", 22));
  CallSlot(audio.packets, 12);
}

TEST(ChannelModes, ConvertToNamesAndCountsAndBack) {
  std::string modes;
  for (unsigned value = 0; value < 16; ++value) {
    const auto mode = static_cast<EChannelMode>(value);
    const char* const name = KelGetChannelModeName(mode);
    modes += name + (' ' + std::to_string(KelGetNumberChannels(mode))) + (KelGetChannelMode(name) == mode ? ";" : "?");
  }
  EXPECT_EQ(
      modes,
      "undefined 0;Mono 1;Stereo 2;Joint Stereo 2;Dual Channel 2;4.1 5;5.1 6;6.1 7;7.1 8;2.1 3;Quad 4;2 Channel 2;"
      "4 Channel 4;6 Channel 6;8 Channel 8;undefined 0?");
  for (const char* name : {"5.1 ", "5.", "mono", "", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(KelGetChannelMode(name), kChannelModeUndefined) << name;
  }
  std::string defaults;
  for (int channels = -2; channels < 12; ++channels) {
    defaults += ' ' + std::to_string(KelGetChannelMode(channels));
  }
  EXPECT_EQ(defaults, " 0 0 0 1 2 9 10 5 6 7 8 0 0 0");
}
