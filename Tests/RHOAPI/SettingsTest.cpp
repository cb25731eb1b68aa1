#include "RHOAPI/RhoapiSettings.h"
#include "Tests/Support/Slots.h"

#include <gtest/gtest.h>
#include <memory>

namespace {

// What a kind of setting answers to the common getters: new, and after every setter that it has was given another
// number or a text. A kind that does not store a value goes on giving its fixed answer.
struct Kind {
  const char* name;
  std::unique_ptr<ISetting> (*make)(bool use);
  const char* whenNew;
  const char* whenUsed;
};

template <class Setting, auto... kArguments>
std::unique_ptr<ISetting> Make(bool use) {
  auto setting = [] {
    if constexpr (requires { Setting("Label", "Preset", kArguments...); }) {
      return std::make_unique<Setting>("Label", "Preset", kArguments...);
    } else {
      return std::make_unique<Setting>(kArguments...);
    }
  }();
  if constexpr (requires { setting->SetUnits("units"); }) {
    setting->SetUnits(use ? "units" : nullptr);
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
    {"UnsignedInt", Make<UnsignedIntSetting, 5, 1, 9, 0, nullptr>, " 4 1 Label  Preset 0 1 0 0  ",
     " 4 33 Label units Preset 77 8 11 13 text tip"},
    {"Int", Make<IntSetting, 5, 1, 9, 0, nullptr>, " 3 1 Label  Preset 0 1 0 0  ",
     " 3 33 Label units Preset 77 8 11 13 text tip"},
    {"Double", Make<DoubleSetting, 5, 1, 9, 0, nullptr>, " 5 1 Label  Preset 0 1 0 0  ",
     " 5 33 Label units Preset 77 8 11 13 text tip"},
    {"Enum", Make<EnumSetting, nullptr, 0, nullptr>, " 2 5 Label  Preset 1 1 0 0  ",
     " 2 33 Label units Preset 1 8 11 13 text tip"},
    {"StringEnum", Make<StringEnumSetting>, " 2 5 Label  Preset 1 1 0 0  ",
     " 2 5 Label units Preset 1 8 11 13 text tip"},
    {"Bool", Make<BoolSetting, 1>, " 1 1 Label  Preset 0 1 0 0  ", " 1 33 Label  Preset 0 8 11 13 text tip"},
    {"Text", Make<TextSetting, nullptr>, " 10 11 Label  Preset 1 1 0 0  ",
     " 10 11 Label units Preset 1 8 11 13 text tip"},
    {"File", Make<FileSetting, nullptr, nullptr>, " 6 6 Label  Preset 1 1 0 0  ",
     " 6 33 Label units Preset 1 8 11 13 text tip"},
    {"TimeCode", Make<TimeCodeSetting, KelTimeCode{}>, " 11 1 Label hh:mm:ss:mmm Preset 0 1 0 0  ",
     " 11 33 Label hh:mm:ss:mmm Preset 0 8 11 13 text tip"},
    {"TimeInOut", Make<TimeInOutSetting, 1, 2, 3>, " 7 7    0 1 0 0  ", " 7 7    0 1 11 13 text tip"},
    {"UnsignedIntArray", Make<UnsignedIntArraySetting, 0, nullptr, nullptr, 1, 9>, " 8 8 Label  Preset 0 1 0 0  ",
     " 8 33 Label  Preset 0 1 11 13 text tip"},
    {"ByteArray", Make<ByteArraySetting, nullptr, 0>, " 9 7 Label  Preset 0 1 0 0  ",
     " 9 7 Label  Preset 0 1 11 13 text tip"},
};

std::string CommonAnswers(const ISetting* setting) { return ReadSlots(setting, 2, "uusssu.u..u.u.s.s"); }

TEST(Settings, KeepWhatTheyAreGivenAndHandItToTheirCopies) {
  for (const auto& [name, make, whenNew, whenUsed] : kKinds) {
    EXPECT_EQ(CommonAnswers(make(false).get()), whenNew) << name;
    const auto setting = make(true);
    for (const unsigned slot : {8U, 11U, 13U}) {
      CallSlot(setting.get(), slot, slot);
    }
    CallSlot(setting.get(), 15, "text");
    CallSlot(setting.get(), 17, "tip");
    const auto* const copy = CallSlot<ISetting*>(setting.get(), 10);
    CallSlot(setting.get(), 17, static_cast<const char*>(nullptr));
    EXPECT_STREQ(setting->GetToolTipText(), "") << name;
    EXPECT_EQ(CommonAnswers(copy), whenUsed) << name;
    CallSlot(copy, 1);
  }
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
