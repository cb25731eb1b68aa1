#include "Tests/Support/Settings.h"

#include <gtest/gtest.h>
#include <array>
#include <string>

namespace {

TEST(ValueSettings, KeepValuesAsGiven) {
  BoolSetting boolean("", "", 1);
  CallSlot(&boolean, 20, 2U);
  TextSetting text("", "", "before");
  CallSlot(&text, 20, "after");
  TimeCodeSetting timeCode("", "", {1, 2, 3, 4, 5, false});
  CallSlot(&timeCode, 20, KelTimeCode{-30000, 99, 255, 65535, 255, true});
  TimeInOutSetting range(600, 0, 6000);
  EXPECT_EQ(ReadSlots(&range, 21, "qqq"), " 600 0 6000");
  CallSlot(&range, 20, 1ULL, ~0ULL, 0ULL);
  const auto copies = std::tuple(CopyOf(boolean), CopyOf(text), CopyOf(timeCode), CopyOf(range));
  CallSlot(&text, 20, static_cast<const char*>(nullptr));
  EXPECT_EQ(ReadSlots(&text, 19, "s"), " ");
  EXPECT_EQ(ReadSlots(std::get<0>(copies).get(), 19, "u") + ReadSlots(std::get<1>(copies).get(), 19, "s"), " 2 after");
  const auto code = CallSlot<KelTimeCode>(std::get<2>(copies).get(), 19);
  EXPECT_TRUE(code.hours == -30000 && code.seconds == 255 && code.milliseconds == 65535 && code.dropFrame);
  std::array<unsigned long long, 3> times{0, 0, 1};
  CallSlot(std::get<3>(copies).get(), 19, times.data(), &times[1], &times[2]);
  EXPECT_EQ(times, (std::array{1ULL, ~0ULL, 0ULL}));
}

TEST(ValueSettings, CutLongPathsAndForgetTheLongerOnes) {
  FileSetting file("", "", std::string(300, 'x').c_str(), "filter");
  EXPECT_EQ(ReadSlots(&file, 19, "s.s"), ' ' + std::string(255, 'x') + " filter");
  for (const std::size_t length : {255U, 254U, 0U}) {
    CallSlot(&file, 20, std::string(length, 'y').c_str());
    EXPECT_EQ(CopyOf(file)->GetValue(), std::string(length, 'y'));
  }
  EXPECT_EQ(std::string(file.GetValue(), 256), std::string(256, '\0')) << "nothing of it is left";
  CallSlot(&file, 22, 5U);
  EXPECT_TRUE(file.GetDialogHint() == 5 && FileSetting(9).GetDialogHint() == 9);
}

TEST(ValueSettings, ShowTheUnitsOfTimeCodesByTheirFlags) {
  TimeCodeSetting setting("", "", {});
  for (const auto& [frames, drop, units] :
       {std::tuple{0U, 2U, "hh:mm:ss:mmm"}, {2U, 0U, "hh:mm:ss:ff"}, {2U, 3U, "hh:mm:ss;ff"}}) {
    setting.SetUseFrameCount(frames);
    setting.SetUseDropFrame(drop);
    const auto copy = CopyOf(setting);
    EXPECT_STREQ(copy->GetUnits(), units);
    EXPECT_TRUE(copy->GetUseFrameCount() == frames && copy->GetUseDropFrame() == drop);
  }
}

TEST(ValueSettings, NeverChangeTheLengthOfANumberArray) {
  std::array<unsigned, 5> numbers{1, 2, 3, 4, 5};
  std::array<const char*, 3> labels{"one", nullptr, "three"};
  UnsignedIntArraySetting setting("", "", 3, numbers.data(), labels.data(), 7, 8);
  EXPECT_EQ(ReadSlots(&setting, 19, "u.....uu"), " 3 7 8");
  CallSlot(&setting, 21, 1U, 9U);
  CallSlot(&setting, 21, 3U, 9U);
  const auto copy = CopyOf(setting);
  std::array<unsigned, 3> read{};
  CallSlot(copy.get(), 22, read.data(), 2U);
  EXPECT_EQ(read, (std::array<unsigned, 3>{}));
  CallSlot(copy.get(), 22, read.data(), 3U);
  EXPECT_EQ(read, (std::array<unsigned, 3>{1, 9, 3}));
  CallSlot(&setting, 23, numbers.data() + 2, 2U);
  EXPECT_EQ(CallSlot<unsigned>(&setting, 20, 0U), 1);
  CallSlot(&setting, 23, static_cast<unsigned*>(nullptr), 3U);
  EXPECT_EQ(CallSlot<unsigned>(&setting, 20, 0U), 1);
  CallSlot(&setting, 23, numbers.data() + 1, 4U);
  EXPECT_TRUE(CallSlot<unsigned>(&setting, 20, 2U) == 4 && CallSlot<unsigned>(&setting, 20, 3U) == 0);
  const auto labelOf = [&copy](unsigned index) { return CallSlot<const char*>(copy.get(), 24, index); };
  EXPECT_EQ(std::string(labelOf(0)) + labelOf(1) + labelOf(2), "onethree");
  EXPECT_EQ(labelOf(3), nullptr);
  EXPECT_EQ(UnsignedIntArraySetting("", "", 3, numbers.data(), nullptr, 0, 0).GetValueLabel(0), nullptr);
  UnsignedIntArraySetting labelled("", "", 3, nullptr, labels.data(), 0, 0);
  labelled.SetValues(nullptr, 3);
  labelled.GetValues(nullptr, 3);
  EXPECT_EQ(labelled.GetNumberOfValues(), 0U);
  EXPECT_STREQ(labelled.GetValueLabel(2), "three");
}

TEST(ValueSettings, HoldBytesOfTheirOwn) {
  std::array<unsigned char, 3> bytes{1, 0, 2};
  ByteArraySetting setting("", "", bytes.data(), 3);
  const auto copy = CopyOf(setting);
  bytes[0] = 9;
  CallSlot(&setting, 21, setting.GetData() + 1, 2U);
  EXPECT_TRUE(setting.GetDataSize() == 2 && setting.GetData()[0] == 0 && setting.GetData()[1] == 2);
  CallSlot(&setting, 21, static_cast<const unsigned char*>(nullptr), 5U);
  EXPECT_EQ(ReadSlots(&setting, 19, "u") + ReadSlots(copy.get(), 19, "u"), " 0 3");
  EXPECT_EQ(CallSlot<const unsigned char*>(copy.get(), 20)[0], 1);
}

}  // namespace
