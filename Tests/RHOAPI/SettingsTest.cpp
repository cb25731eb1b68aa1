#include "RHOAPI/RhoapiSettings.h"
#include "Tests/Support/Settings.h"

#include <gtest/gtest.h>
#include <memory>
#include <set>

namespace {

// The results of the common getters of a kind of setting: when new, and after calls of all its setters. An attribute
// that the kind does not store keeps its fixed value.
struct Kind {
  std::unique_ptr<ISetting> (*make)(bool use);
  const char* whenNew;
  const char* whenUsed;
};

template <class Setting, auto... kArguments>
std::unique_ptr<ISetting> Make(bool use) {
  auto setting = [] {
    if constexpr (requires { Setting("La", "Pr", kArguments...); }) {
      return std::make_unique<Setting>("La", "Pr", kArguments...);
    } else {
      return std::make_unique<Setting>(kArguments...);
    }
  }();
  if constexpr (requires { setting->SetUnits("units"); }) {
    setting->SetUnits(use ? "un" : nullptr);
  }
  if constexpr (requires { setting->SetDialogHint(33); }) {
    setting->SetDialogHint(use ? 33 : setting->GetDialogHint());
  }
  if constexpr (requires { setting->SetIsValueConstrained(77); }) {
    setting->SetIsValueConstrained(use ? 77 : setting->GetIsValueConstrained());
  }
  return setting;
}

const Kind kKinds[] = {
    {Make<UnsignedIntSetting, 5, 1, 9, 0, nullptr>, " 4 1 La  Pr 0 1 0 0  ", " 4 33 La un Pr 77 8 11 13 text tip"},
    {Make<IntSetting, 5, 1, 9, 0, nullptr>, " 3 1 La  Pr 0 1 0 0  ", " 3 33 La un Pr 77 8 11 13 text tip"},
    {Make<DoubleSetting, 5, 1, 9, 0, nullptr>, " 5 1 La  Pr 0 1 0 0  ", " 5 33 La un Pr 77 8 11 13 text tip"},
    {Make<EnumSetting, nullptr, 0, nullptr>, " 2 5 La  Pr 1 1 0 0  ", " 2 33 La un Pr 1 8 11 13 text tip"},
    {Make<StringEnumSetting>, " 2 5 La  Pr 1 1 0 0  ", " 2 5 La un Pr 1 8 11 13 text tip"},
    {Make<BoolSetting, 1>, " 1 1 La  Pr 0 1 0 0  ", " 1 33 La  Pr 0 8 11 13 text tip"},
    {Make<TextSetting, nullptr>, " 10 11 La  Pr 1 1 0 0  ", " 10 11 La un Pr 1 8 11 13 text tip"},
    {Make<FileSetting, nullptr, nullptr>, " 6 6 La  Pr 1 1 0 0  ", " 6 33 La un Pr 1 8 11 13 text tip"},
    {Make<TimeCodeSetting, KelTimeCode{}>, " 11 1 La hh:mm:ss:mmm Pr 0 1 0 0  ",
     " 11 33 La hh:mm:ss:mmm Pr 0 8 11 13 text tip"},
    {Make<TimeInOutSetting, 1, 2, 3>, " 7 7    0 1 0 0  ", " 7 7    0 1 11 13 text tip"},
    {Make<UnsignedIntArraySetting, 0, nullptr, nullptr, 1, 9>, " 8 8 La  Pr 0 1 0 0  ",
     " 8 33 La  Pr 0 1 11 13 text tip"},
    {Make<ByteArraySetting, nullptr, 0>, " 9 7 La  Pr 0 1 0 0  ", " 9 7 La  Pr 0 1 11 13 text tip"},
};

TEST(Settings, KeepWhatTheyAreGivenAndHandItToTheirCopies) {
  for (const auto& [make, whenNew, whenUsed] : kKinds) {
    EXPECT_EQ(ReadSlots(make(false).get(), 2, kCommonGetters), whenNew);
    const auto setting = make(true);
    GiveCommonAttributes(setting.get());
    const auto copy = CopyOf(*setting);
    CallSlot(setting.get(), 17, static_cast<const char*>(nullptr));
    EXPECT_STREQ(setting->GetToolTipText(), "") << whenNew;
    EXPECT_EQ(ReadSlots(copy.get(), 2, kCommonGetters), whenUsed);
  }
}

TEST(Settings, HaveTypeCodesWithoutGaps) {
  std::set<unsigned> codes{SettingsGroup().GetType()};
  for (const Kind& kind : kKinds) {
    codes.insert(kind.make(false)->GetType());
  }
  EXPECT_TRUE(codes.size() == kLastSettingType && *codes.begin() == 1 && *codes.rbegin() == kLastSettingType);
}

TEST(SettingHelpers, TreatTheCheckBoxesOfAllKindsAlike) {
  for (unsigned bits = 0; bits < 8; ++bits) {
    const unsigned optional = (bits & 1) * 5;
    const unsigned specified = bits & 2;
    BoolSetting boolean("", "", 2);
    IntSetting number;
    ISetting* const setting = (bits & 4) != 0 ? static_cast<ISetting*>(&boolean) : &number;
    for (ISetting* const either : {static_cast<ISetting*>(nullptr), setting}) {
      rhoapi_settings::setOptional(either, "text");
      rhoapi_settings::setTooltip(either, "tip");
      rhoapi_settings::setActive(either, false);
      rhoapi_settings::setUnspecified(nullptr);
    }
    EXPECT_EQ(ReadSlots(setting, 9, "u..u.u.s.s"), " 0 1 0 text tip");
    rhoapi_settings::setActive(setting, true);
    EXPECT_EQ(setting->GetIsActive(), 1U);
    setting->SetIsOptional(optional);
    setting->SetIsOptionalValueSpecified(specified);
    EXPECT_EQ(rhoapi_settings::checkboxChecked(setting), optional != 0 ? specified != 0 : setting == &boolean);
    EXPECT_FALSE(rhoapi_settings::checkboxChecked(nullptr));
    rhoapi_settings::setUnspecified(setting);
    EXPECT_EQ(setting->GetIsOptionalValueSpecified(), optional != 0 ? 0 : specified);
    EXPECT_EQ(CallSlot<unsigned>(&boolean, 19), optional == 0 && setting == &boolean ? 0U : 2U);
  }
}

}  // namespace
