#include "RHOAPI/RhoapiSettings.h"
#include "Tests/Support/Settings.h"

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
void ExpectOwnAttributes(Container&& container) {
  container.SetLabel("Label");
  container.SetPresetLabel("Preset");
  GiveCommonAttributes(&container);
  EXPECT_EQ(ReadSlots(&container, 2, kCommonGetters), " 12 13 Label  Preset 0 8 0 1  tip");
  const auto target = CopyOf(container);
  EXPECT_EQ(ReadSlots(target.get(), 2, kCommonGetters), " 12 13    0 8 0 1  ") << "the list alone";
  target->SetLabel("Target");
  target->SetIsActive(9);
  *target = container;
  EXPECT_EQ(ReadSlots(target.get(), 2, kCommonGetters), " 12 13 Target   0 9 0 1  ");
}

TEST(SettingContainers, KeepTheirAttributesToThemselves) {
  ExpectOwnAttributes(SettingsGroup());
  ExpectOwnAttributes(SettingArray(7));
}

TEST(SettingContainers, ListWhatBelongsToOthers) {
  int deaths = 0;
  Mortal setting(deaths);
  auto group = std::make_unique<SettingsGroup>();
  group->include(setting);
  group->include(setting);
  const auto copy = CopyOf(*group);
  const auto& same = *copy;
  *copy = same;
  EXPECT_EQ(copy->GetNumberOfSettings(), 2U) << "after assignment to itself";
  *copy = *group;
  group.reset();
  EXPECT_EQ(ReadSlots(copy.get(), 19, "u"), " 2");
  EXPECT_EQ(CallSlot<ISetting*>(copy.get(), 20, 1U), &setting);
  EXPECT_EQ(CallSlot<ISetting*>(copy.get(), 20, 2U), nullptr);
  copy->clear();
  EXPECT_EQ(copy->GetNumberOfSettings(), 0U);
  EXPECT_EQ(deaths, 0);
}

TEST(SettingContainers, OwnWhatTheyWereGivenAndCopyIt) {
  int deaths = 0;
  SettingArray array(0);
  auto* const first = new Mortal(deaths);
  EXPECT_TRUE(array.AddSetting(first) == 0 && array.AddSetting(nullptr) == 1);
  EXPECT_EQ(array.AddSetting(new Mortal(deaths)), 2);
  EXPECT_TRUE(array.GetSetting(0) == first && array.GetSetting(1) == nullptr && array.GetSetting(3) == nullptr);
  const auto& same = array;
  array = same;
  EXPECT_TRUE(deaths == 0 && array.GetSetting(0) == first);
  first->SetValue(5);
  auto copy = CopyOf(array);
  EXPECT_TRUE(copy->GetNumberOfSettings() == 3 && copy->GetSetting(0) != first && copy->GetSetting(1) == nullptr);
  array.clear();
  EXPECT_EQ(deaths, 2);
  EXPECT_EQ(CallSlot<unsigned>(CallSlot<ISetting*>(copy.get(), 20, 0U), 19), 5);
  array = *copy;
  array = *copy;
  copy.reset();
  EXPECT_EQ(array.GetNumberOfSettings(), 3);
}

}  // namespace
