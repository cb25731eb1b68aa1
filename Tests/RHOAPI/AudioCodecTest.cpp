#include "RHOAPI/AAudioCodec.h"
#include "Tests/Support/Slots.h"

#include <gtest/gtest.h>

namespace {

// A compressor that implements only what it has to, and has no settings.
struct Bare : CAAudioCompressor {
  void QueryPossiblePacketTypes(std::list<IPacket::TPacketType>& types) const override {
    add_if_not_already_there(types, IPacket::kPacketTypeBundle);
  }
  unsigned int IsFormatSupported(unsigned int /*fileFormat*/) override { return 0; }
  const char* GetName() override { return ""; }
  const char* GetAbbreviatedName() override { return ""; }
  void GetAudioCompressorInfo(unsigned int& /*manufacturer*/, unsigned int& /*codec*/) override {}
  RhoStatus CompressFrameBegin(KelAudio_t* /*format*/) override { return 0; }
  RhoStatus CompressFrame(KelAudio_t* /*in*/, KelAudio_t* /*out*/) override { return 0; }
  RhoStatus CompressFrameEnd() override { return 0; }
  IAudioCompressor* CreateCopy() override { return nullptr; }
  RhoStatus Release() override { return 0; }
  IUnsignedIntSetting* GetDataRateSetting() override { return nullptr; }
  IUnsignedIntSetting* GetSampleSizeSetting() override { return nullptr; }
  IUnsignedIntSetting* GetSampleRateSetting() override { return nullptr; }
  IEnumSetting* GetChannelModeSetting() override { return nullptr; }
  bool Hints(unsigned int format, unsigned int mode, double rate) const {
    return m_fileFormatHint == format && m_streamModeHint == mode && m_frameRateHint == rate;
  }
};

Bare g_bare;  // not local, or clang-tidy takes its slots for uninitialized

TEST(AudioCompressor, HasAnswersForWhatItDoesNotOffer) {
  g_bare = Bare();
  EXPECT_EQ(ReadSlots(&g_bare, 23, "uu..uuuuu..u"), " 0 1 0 0 0 0 1 0");
  EXPECT_EQ(CallSlot<void*>(&g_bare, 20), nullptr);
  EXPECT_EQ(CallSlot<void*>(&g_bare, 22, 0U), nullptr);
  unsigned int format = 0;
  EXPECT_EQ(CallSlot<unsigned>(&g_bare, 21, &format), 0U);
  EXPECT_EQ(format, 2U);
  CallSlot(&g_bare, 15);
}

TEST(AudioCompressor, StoresHintsAndAPacketTypeThatItHas) {
  g_bare = Bare();
  EXPECT_TRUE(g_bare.Hints(0x554E4446, 3, 30.0));
  CallSlot(&g_bare, 4, 5U);
  CallSlot(&g_bare, 5, 6U);
  CallSlot(&g_bare, 6, 7.5);
  EXPECT_TRUE(g_bare.Hints(5, 6, 7.5));
  EXPECT_EQ(CallSlot<unsigned>(&g_bare, 1, 24U), 0U);
  EXPECT_EQ(CallSlot<unsigned>(&g_bare, 2), 0U);
  EXPECT_EQ(CallSlot<unsigned>(&g_bare, 1, 28U), 1U);
  EXPECT_EQ(CallSlot<unsigned>(&g_bare, 2), 28U);
}

}  // namespace
