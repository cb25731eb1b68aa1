#include "Toolbox/KelUtils/ChannelModes.h"

#include <gtest/gtest.h>
#include <string>

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

TEST(ManufacturerAndCodec, AreWrittenMostSignificantByteFirst) {
  char out[] = "0123456789";
  EXPECT_TRUE(KelGetManufactureCodecEightCCString(out, 0x5A415620, 0x4C50434D));
  EXPECT_EQ(std::string(out, 10), std::string("ZAV LPCM\0"
                                              "9",
                                              10));
  EXPECT_FALSE(KelGetManufactureCodecEightCCString(nullptr, 0, 0));
}
