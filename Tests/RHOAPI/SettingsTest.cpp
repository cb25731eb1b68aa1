#include "RHOAPI/RhoapiSettings.h"
#include "Tests/Support/Slots.h"

#include <gtest/gtest.h>
#include <memory>

namespace {

// A kind of setting and what it answers to all common getters: new, and after every setter that it has was given a
// number of its own or a text. A kind that stores no such value goes on giving its fixed answer.
struct Kind {
  const char* name;
  std::unique_ptr<ISetting> (*make)(bool use);
  const char* whenNew;
  const char* whenUsed;
};

template <class Setting, auto... kArguments>
std::unique_ptr<ISetting> Make(bool use) {
  auto setting = std::make_unique<Setting>("Label", "Preset", kArguments...);
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

class Settings : public testing::TestWithParam<Kind> {};
INSTANTIATE_TEST_SUITE_P(
    Kinds, Settings,
    testing::Values(Kind{"UnsignedInt", Make<UnsignedIntSetting, 5, 1, 9, 0, nullptr>, " 4 1 Label  Preset 0 1 0 0  ",
                         " 4 33 Label units Preset 77 88 1111 1313 text tip"},
                    Kind{"Int", Make<IntSetting, 5, 1, 9, 0, nullptr>, " 3 1 Label  Preset 0 1 0 0  ",
                         " 3 33 Label units Preset 77 88 1111 1313 text tip"},
                    Kind{"Double", Make<DoubleSetting, 5, 1, 9, 0, nullptr>, " 5 1 Label  Preset 0 1 0 0  ",
                         " 5 33 Label units Preset 77 88 1111 1313 text tip"},
                    Kind{"Enum", Make<EnumSetting, nullptr, 0, nullptr>, " 2 5 Label  Preset 1 1 0 0  ",
                         " 2 33 Label units Preset 1 88 1111 1313 text tip"},
                    Kind{"StringEnum", Make<StringEnumSetting>, " 2 5 Label  Preset 1 1 0 0  ",
                         " 2 5 Label units Preset 1 88 1111 1313 text tip"}),
    [](const auto& kind) { return kind.param.name; });

std::string CommonAnswers(const ISetting* setting) { return ReadSlots(setting, 2, "uusssu.u..u.u.s.s"); }

TEST_P(Settings, KeepWhatTheyAreGivenAndHandItToTheirCopies) {
  EXPECT_EQ(CommonAnswers(GetParam().make(false).get()), GetParam().whenNew);
  const auto setting = GetParam().make(true);
  for (const unsigned slot : {8, 11, 13}) {
    CallSlot(setting.get(), slot, slot * (slot < 10 ? 11 : 101));
  }
  CallSlot(setting.get(), 15, "text");
  CallSlot(setting.get(), 17, "tip");
  auto* const copy = CallSlot<ISetting*>(setting.get(), 10);
  EXPECT_EQ(CommonAnswers(copy), GetParam().whenUsed);
  CallSlot(copy, 13, 0U);
  CallSlot(copy, 17, static_cast<const char*>(nullptr));
  EXPECT_EQ(CommonAnswers(setting.get()), GetParam().whenUsed) << "a copy shares nothing";
  EXPECT_STREQ(copy->GetToolTipText(), "");
  CallSlot(copy, 1);
}

struct Boolean : TSetting<Boolean, IBoolSetting, kSettingTypeBool> {
  Boolean() : TSetting("", "", 1, 0) {}
  unsigned int GetValue() const override { return m_value; }
  void SetValue(unsigned int value) override { m_value = value; }
  unsigned int m_value = 2;
};

TEST(SettingHelpers, TreatTheCheckBoxesOfAllKindsAlike) {
  for (const unsigned bits : {0, 1, 2, 3, 4, 5, 6, 7}) {
    const unsigned optional = bits & 1;
    const unsigned specified = bits & 2;
    Boolean boolean;
    IntSetting number;
    ISetting& setting = (bits & 4) != 0 ? static_cast<ISetting&>(boolean) : number;
    rhoapi_settings::setOptional(&setting, "text");
    rhoapi_settings::setTooltip(&setting, "tip");
    rhoapi_settings::setActive(&setting, false);
    EXPECT_EQ(ReadSlots(&setting, 9, "u..u.u.s.s"), " 0 1 0 text tip");
    setting.SetIsOptional(optional);
    setting.SetIsOptionalValueSpecified(specified);
    EXPECT_EQ(rhoapi_settings::checkboxChecked(&setting), optional != 0 ? specified != 0 : &setting == &boolean);
    rhoapi_settings::setUnspecified(&setting);
    EXPECT_EQ(setting.GetIsOptionalValueSpecified(), optional != 0 ? 0 : specified);
    EXPECT_EQ(boolean.GetValue(), optional == 0 && &setting == &boolean ? 0U : 2U);
  }
  rhoapi_settings::setOptional(nullptr, "");
  rhoapi_settings::setTooltip(nullptr, "");
  rhoapi_settings::setActive(nullptr, true);
  rhoapi_settings::setUnspecified(nullptr);
  EXPECT_FALSE(rhoapi_settings::checkboxChecked(nullptr));
}

}  // namespace
