#include "RHOAPI/RhoapiSettings.h"
#include "Tests/Support/Slots.h"

#include <gtest/gtest.h>
#include <memory>

namespace {

struct Mortal : BoolSetting {
  explicit Mortal(int& deaths) : m_deaths(deaths) {}
  Mortal(const Mortal&) = default;
  Mortal& operator=(const Mortal&) = delete;
  ~Mortal() override { ++m_deaths; }
  int& m_deaths;
};

template <class Container>
std::unique_ptr<Container> Copy(const Container& container) {
  return std::unique_ptr<Container>(CallSlot<Container*>(&container, 10));
}

template <class Container>
void ExpectOwnAttributes(Container&& container) {
  container.SetLabel("Label");
  container.SetPresetLabel("Preset");
  for (const unsigned slot : {8, 11, 13}) {
    CallSlot(&container, slot, 3U);
  }
  CallSlot(&container, 15, "text");
  CallSlot(&container, 17, "tip");
  EXPECT_EQ(ReadSlots(&container, 2, "uusssu.u..u.u.s.s"), " 12 13 Label  Preset 0 3 0 1  tip");
  EXPECT_EQ(ReadSlots(Copy(container).get(), 2, "uusssu.u..u.u.s.s"), " 12 13    0 3 0 1  ") << "the list alone";
  auto target = Copy(container);
  target->SetLabel("Target");
  target->SetIsActive(9);
  *target = container;
  EXPECT_STREQ(target->GetLabel(), "Target");
  EXPECT_EQ(target->GetIsActive(), 9);
  EXPECT_STREQ(target->GetToolTipText(), "");
}

TEST(SettingContainers, KeepTheirAttributesToThemselves) {
  ExpectOwnAttributes(SettingsGroup());
  ExpectOwnAttributes(SettingArray(7));
}

TEST(SettingContainers, ListWhatBelongsToOthers) {
  int deaths = 0;
  {
    Mortal setting(deaths);
    auto group = std::make_unique<SettingsGroup>();
    group->include(setting);
    group->include(setting);
    const auto copy = Copy(*group);
    const auto& same = *copy;
    *copy = same;
    *copy = *group;
    group.reset();
    EXPECT_EQ(ReadSlots(copy.get(), 19, "u"), " 2");
    EXPECT_EQ(CallSlot<ISetting*>(copy.get(), 20, 1U), &setting);
    EXPECT_EQ(CallSlot<ISetting*>(copy.get(), 20, 2U), nullptr);
    copy->clear();
    EXPECT_EQ(copy->GetNumberOfSettings(), 0);
    EXPECT_EQ(deaths, 0);
  }
  EXPECT_EQ(deaths, 1);
}

TEST(SettingContainers, OwnWhatTheyWereGivenAndCopyIt) {
  int deaths = 0;
  SettingArray array(0);
  auto* const first = new Mortal(deaths);
  EXPECT_EQ(array.AddSetting(first), 0);
  EXPECT_EQ(array.AddSetting(nullptr), 1);
  EXPECT_EQ(array.AddSetting(new Mortal(deaths)), 2);
  EXPECT_TRUE(array.GetSetting(0) == first && array.GetSetting(1) == nullptr && array.GetSetting(3) == nullptr);
  const auto& same = array;
  array = same;
  EXPECT_EQ(deaths, 0);
  EXPECT_EQ(array.GetSetting(0), first);

  first->SetValue(5);
  auto copy = Copy(array);
  EXPECT_EQ(copy->GetNumberOfSettings(), 3);
  EXPECT_NE(copy->GetSetting(0), first);
  EXPECT_EQ(copy->GetSetting(1), nullptr);
  array.clear();
  EXPECT_EQ(deaths, 2);
  EXPECT_EQ(CallSlot<unsigned>(CallSlot<ISetting*>(copy.get(), 20, 0U), 19), 5);
  array = *copy;
  array = *copy;
  copy.reset();
  EXPECT_EQ(array.GetNumberOfSettings(), 3);
}

}  // namespace
