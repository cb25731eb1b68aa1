#include "Plugins/EncodersAndFormatters/PCMPlugin/PCMPlugin.h"
#include "RHOAPI/RHOAPIPacketBundle.h"
#include "RHOAPI/RhoapiAudioCodec.h"
#include "RHOAPI/RhoapiSettings.h"
#include "Tests/Support/Slots.h"

#include <gtest/gtest.h>
#include <array>
#include <list>
#include <vector>

namespace {

TEST(EntryPoints, DescribeTheOneCompressorAndMakeNoOther) {
  unsigned codes[] = {0, 0, 0};
  RhoGetAudioCompressorInfo(0, nullptr, &codes[1], nullptr);
  EXPECT_EQ(codes[1], 0x4C50434DU);
  RhoGetAudioCompressorInfo(~0U, &codes[0], nullptr, &codes[2]);
  EXPECT_TRUE(codes[0] == 0x5A415620 && codes[2] == 0x00010000 && RhoGetNumberAudioCompressors() == 1);
  EXPECT_FALSE(CreateAudioCompressor(0x5A415621, 0x4C50434D) || CreateAudioCompressor(0x5A415620, 0x6C70636D));
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
  std::list<IPacket::TPacketType> types{IPacket::kPacketTypeBundle};
  CallSlot(codec, 0, &types);
  types.reverse();  // now it is in the list, but not last
  CallSlot(codec, 0, &types);
  EXPECT_EQ(types, (std::list{IPacket::kPacketTypeLinearPCM, IPacket::kPacketTypeBundle})) << "added once";
  EXPECT_TRUE(CallSlot<unsigned>(codec, 1, 24U) == 1 && CallSlot<unsigned>(codec, 1, 28U) == 0);
  EXPECT_TRUE(CallSlot<unsigned>(codec, 3, 0x204D4B56U) == 1 && CallSlot<unsigned>(codec, 3, 0x554E4446U) == 0);
  EXPECT_EQ(ReadSlots(codec, 2, "u....ss"), " 24 Linear PCM LPCM");
  unsigned codes[2] = {};
  CallSlot(codec, 9, &codes[0], &codes[1]);
  EXPECT_TRUE(codes[0] == 0x5A415620 && codes[1] == 0x4C50434D);
  EXPECT_TRUE(CallSlot<void*>(codec, 20) == nullptr && CallSlot<void*>(codec, 22, 0U) == nullptr);
  EXPECT_EQ(CallSlot<unsigned>(codec, 25, &codes[0], &codes[1]), 1U);
  EXPECT_EQ(CallSlot<unsigned>(codec, 26, nullptr, 0), 1U);
  EXPECT_TRUE(codes[0] == 0x5A415620 && codes[1] == 0x4C50434D) << "left alone";
  EXPECT_EQ(ReadSlots(codec, 23, "uu..uuuuu..u"), " 0 1 0 16 44100 176400 2 0");
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
  using Case = std::tuple<unsigned, unsigned, const char*, const char*, unsigned>;
  for (const auto& [bits, rate, channels, answers, type] :
       {Case(24, 96000, "7.1", " 24 96000 2304000 8", 3), Case(16, 8000, "mono", " 16 8000 16000 1", 2),
        Case(20, 1, "6.1", " 20 1 14 7", 2), Case(32, 1U << 31, "Mono", " 32 2147483648 0 1", 2)}) {
    CallSlot(setting(codec, 17), 22, bits);
    CallSlot(setting(codec, 18), 22, rate);
    CallSlot(setting(codec, 19), 20, channels);
    CallSlot(codec, 15);
    unsigned format = 0;
    EXPECT_TRUE(CallSlot<unsigned>(codec, 21, &format) == 0 && format == type) << bits;
    auto* const copy = CallSlot<IAudioCompressor*>(codec, 13);
    EXPECT_EQ(ReadSlots(copy, 28, "uuuu"), answers);
    unsigned codes[2] = {};
    copy->GetAudioCompressorInfo(codes[0], codes[1]);
    EXPECT_EQ(codes[1], 0x4C50434DU);
    EXPECT_EQ(CallSlot<unsigned>(setting(copy, 16), 26, 0U), copy->GetDataRate());
    CallSlot(setting(copy, 18), 22, 5U);
    EXPECT_EQ(ReadSlots(codec, 28, "uuuu"), answers) << "the copy's settings are its own";
    copy->Release();
  }
  // The mode has the name of the layout, except for some names and for unknown ones.
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

TEST(PCMCompressor, GivesACopyItsHintsAndAValidDataRate) {
  IAudioCompressor* const codec = CreateAudioCompressor(0x5A415620, 0x4C50434D);
  codec->GetSampleRateSetting()->SetValue(8000);
  codec->SetFrameRateHint(4);
  IAudioCompressor* const copy = codec->CreateCopy();
  EXPECT_EQ(codec->GetDataRate(), 176400U) << "not validated";
  EXPECT_EQ(copy->GetDataRate(), 32000U);
  std::array<unsigned char, 8000> bytes{};
  KelAudio_t in{0, 0, 0, kAudioFormatNone, 0, 0, 0, sizeof bytes, 0, bytes.data(), 0};
  KelEncAudio_t out{};
  out.sampleRate = 8000;
  copy->CompressFrameBegin(nullptr);
  copy->CompressFrame(&in, &out);
  EXPECT_EQ(out.sampleCount, 2000U) << "a packet for a quarter of a second";
  OwnedPacket(out.packets).reset();
  copy->Release();
  codec->Release();
}

// A host's own bundle, which reads a packet when it is appended.
struct ReadingBundle : TPacketBundle {
  ReadingBundle() : TPacketBundle("") {}
  void append(IPacket* packet) override {
    seen += ReadSlots(packet, 0, "uuqqq") + ' ' + std::to_string(packet->getDataSize());
    TPacketBundle::append(packet);
  }
  std::string seen;
};

TEST(PCMCompressor, AppendsCompletePackets) {
  IAudioCompressor* const codec = CreateAudioCompressor(0x5A415620, 0x4C50434D);
  ReadingBundle bundle;
  std::array<unsigned char, 6000> bytes{};
  KelAudio_t in{0, 0, 0, kAudioFormatNone, 0, 0, 0, sizeof bytes, 0, bytes.data(), 0};
  KelEncAudio_t out{};
  out.sampleRate = 44100;
  out.packets = &bundle;
  codec->CompressFrameBegin(nullptr);
  codec->CompressFrame(&in, &out);
  codec->CompressFrame(nullptr, &out);
  EXPECT_EQ(bundle.seen, " 24 0 0 44100 0 5880 24 0 1470 44100 0 120");
  codec->Release();
}

TEST(PCMCompressor, ComputesTheDurationInDoublePrecision) {
  IAudioCompressor* const codec = CreateAudioCompressor(0x5A415620, 0x4C50434D);
  codec->GetSampleSizeSetting()->SetValue(8);
  codec->GetChannelModeSetting()->SetValue("Mono");
  codec->GetSampleRateSetting()->SetValue(2097155);
  codec->SetFrameRateHint(1);
  std::vector<unsigned char> bytes(2097155);
  KelAudio_t in{0, 0, 0, kAudioFormatNone, 0, 0, 0, 2097155, 0, bytes.data(), 0};
  KelEncAudio_t out{};
  out.sampleRate = 4294967295;
  codec->CompressFrameBegin(nullptr);
  codec->CompressFrame(&in, &out);
  EXPECT_EQ(out.sampleCount, 2097155U);
  EXPECT_EQ(out.duration, 2097154ULL) << "the product of rate and count has more than 53 bits";
  OwnedPacket(out.packets).reset();
  codec->Release();
}

}  // namespace
