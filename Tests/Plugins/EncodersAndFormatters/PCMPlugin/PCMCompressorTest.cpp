#include "Plugins/EncodersAndFormatters/PCMPlugin/PCMPlugin.h"
#include "RHOAPI/RhoapiAudioCodec.h"
#include "RHOAPI/RhoapiSettings.h"
#include "Tests/Support/Slots.h"

#include <gtest/gtest.h>
#include <array>
#include <bit>
#include <list>

namespace {

TEST(EntryPoints, DescribeTheOneCompressorAndMakeNoOther) {
  constexpr std::array kCodes{0x5A415620U, 0x4C50434DU, 0x00010000U};
  for (unsigned wanted = 0; wanted < 8; ++wanted) {
    std::array<unsigned, 3> out{};
    const auto pointer = [&](unsigned index) { return (wanted >> index & 1) != 0 ? &out[index] : nullptr; };
    RhoGetAudioCompressorInfo(wanted, pointer(0), pointer(1), pointer(2));
    for (const unsigned index : {0U, 1U, 2U}) {
      EXPECT_EQ(out[index], pointer(index) == nullptr ? 0 : kCodes[index]);
    }
  }
  EXPECT_EQ(RhoGetNumberAudioCompressors(), 1);
  EXPECT_EQ(CreateAudioCompressor(kCodes[0] + 1, kCodes[1]), nullptr);
  EXPECT_EQ(CreateAudioCompressor(kCodes[0], kCodes[1] | 0x20202020), nullptr);
}

// Value, range and choices of a number; the selected text, its number and the choices of an enumeration.
std::string Describe(const ISetting* setting, const char* kinds, std::size_t count, std::size_t choice) {
  std::string text = ReadSlots(setting, 4, "s.s") + ReadSlots(setting, choice - 5, kinds) + ':';
  for (unsigned index = 0; index < CallSlot<unsigned>(setting, count); ++index) {
    text += ' ' + (kinds[0] == 's' ? CallSlot<const char*>(setting, choice, index)
                                   : std::to_string(CallSlot<unsigned>(setting, choice, index)));
  }
  return text;
}

TEST(PCMCompressor, AnswersInItsSlots) {
  IAudioCompressor* const codec = CreateAudioCompressor(0x5A415620, 0x4C50434D);
  std::list<IPacket::TPacketType> types{IPacket::kPacketTypeLinearPCM, IPacket::kPacketTypeBundle};
  CallSlot(codec, 0, &types);
  EXPECT_EQ(types.size(), 2U);
  EXPECT_TRUE(CallSlot<unsigned>(codec, 1, 24U) == 1 && CallSlot<unsigned>(codec, 1, 28U) == 0);
  EXPECT_TRUE(CallSlot<unsigned>(codec, 3, 0x204D4B56U) == 1 && CallSlot<unsigned>(codec, 3, 0x554E4446U) == 0);
  EXPECT_EQ(ReadSlots(codec, 2, "u....ss"), " 24 Linear PCM LPCM");
  unsigned codes[2] = {};
  CallSlot(codec, 9, &codes[0], &codes[1]);
  EXPECT_TRUE(codes[0] == 0x5A415620 && codes[1] == 0x4C50434D);
  EXPECT_EQ(CallSlot<void*>(codec, 20), nullptr);
  EXPECT_EQ(CallSlot<void*>(codec, 22, 0U), nullptr);
  EXPECT_EQ(CallSlot<unsigned>(codec, 25, &codes[0], &codes[1]) + CallSlot<unsigned>(codec, 26, nullptr, 0), 2U);
  EXPECT_TRUE(codes[0] == 0x5A415620 && codes[1] == 0x4C50434D) << "left alone";
  EXPECT_EQ(ReadSlots(codec, 23, "uu..uuuuu..u"), " 0 1 0 16 44100 176400 2 0");
  const auto slotOf = [](auto operation) {
    return std::bit_cast<std::array<std::size_t, 2>>(operation)[0] / sizeof(void*);
  };
  EXPECT_EQ(slotOf(&IAudioCompressor::SetFileFormatHint), 4U) << "neither hint can be seen";
  EXPECT_EQ(slotOf(&IAudioCompressor::SetStreamModeHint), 5U);
  EXPECT_EQ(CallSlot<unsigned>(codec, 14), 0U);
}

TEST(PCMCompressor, KeepsItsDataRateInStepWithTheOtherSettings) {
  const auto setting = [](IAudioCompressor* codec, std::size_t slot) { return CallSlot<ISetting*>(codec, slot); };
  IAudioCompressor* const codec = CreateAudioCompressor(0x5A415620, 0x4C50434D);
  EXPECT_EQ(Describe(setting(codec, 16), "u.uu", 25, 26), " Data Rate DataRate 176400 0 0: 176400");
  EXPECT_EQ(Describe(setting(codec, 17), "u.uu", 25, 26), " Sample Size SampleSize 16 16 24: 16 24");
  EXPECT_EQ(Describe(setting(codec, 18), "u.uu", 25, 26),
            " Sample Rate SampleRate 44100 8000 96000: "
            "8000 11025 16000 22050 24000 32000 44100 48000 64000 88200 96000");
  EXPECT_EQ(Describe(setting(codec, 19), "s.u", 23, 24), " Channels Channels Stereo 2: Mono Stereo 5.1 6.1 7.1");
  unsigned format = 0;
  struct Case {
    unsigned bits, rate;
    const char *channels, *answers;
    unsigned format;
  };
  for (const Case& c : {Case{24, 96000, "7.1", " 24 96000 2304000 8", 3}, Case{16, 8000, "mono", " 16 8000 16000 1", 2},
                        Case{20, 1, "6.1", " 20 1 14 7", 2}, Case{32, 1U << 31, "Mono", " 32 2147483648 0 1", 2}}) {
    CallSlot(setting(codec, 17), 22, c.bits);
    CallSlot(setting(codec, 18), 22, c.rate);
    CallSlot(setting(codec, 19), 20, c.channels);
    CallSlot(codec, 15);
    EXPECT_EQ(CallSlot<unsigned>(codec, 21, &format), 0U);
    EXPECT_EQ(format, c.format);
    IAudioCompressor* const copy = CallSlot<IAudioCompressor*>(codec, 13);
    EXPECT_EQ(ReadSlots(copy, 28, "uuuu"), c.answers);
    EXPECT_EQ(CallSlot<unsigned>(setting(copy, 16), 26, 0U), copy->GetDataRate());
    CallSlot(setting(copy, 18), 22, 5U);
    EXPECT_EQ(ReadSlots(codec, 28, "uuuu"), c.answers) << "the copy's settings are its own";
    copy->Release();
  }
  // A layout's name is its mode, but for some and for unknown ones.
  auto* const channels = static_cast<StringEnumSetting*>(setting(codec, 19));
  std::string modes;
  for (const char* name : {"Joint Stereo", "Dual Channel", "4.1", "2.1", "Quad", "2 Channel", "4 Channel", "6 Channel",
                           "8 Channel", "stereo"}) {
    channels->AddValue(name, 99);
    channels->SetSelected(channels->GetNumberOfAllowableValues() - 1);
    modes += ReadSlots(codec, 31, "u");
  }
  EXPECT_EQ(modes, " 3 4 1 1 1 11 12 13 14 1");
  codec->Release();
}

}  // namespace
