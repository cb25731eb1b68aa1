#include "Tests/Support/Settings.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>
#include <algorithm>
#include <array>
#include <string>
#include <vector>

namespace {

using Texts = std::vector<std::string>;

unsigned Find(const Texts& entries, const std::string& text) {
  return static_cast<unsigned>(std::find(entries.begin(), entries.end(), text) - entries.begin());
}

// The lenient rule, step by step.
unsigned Match(const Texts& entries, const std::string& text) {
  Texts lower(entries.size());
  std::transform(entries.begin(), entries.end(), lower.begin(), [](const auto& e) { return to_lower_case(e); });
  const std::string wanted = to_lower_case(text.c_str());
  auto found = static_cast<unsigned>(entries.size());
  for (unsigned index = 0; index < entries.size(); ++index) {
    found = lower[index].starts_with(wanted) || wanted.starts_with(lower[index]) ? index : found;
  }
  found = Find(lower, wanted) < entries.size() ? Find(lower, wanted) : found;
  return Find(entries, text) < entries.size() ? Find(entries, text) : found;
}

// Short texts of few letters, so that many are equal or prefixes of each other.
const auto kText = rc::gen::resize(3, rc::gen::container<std::string>(rc::gen::element('a', 'A', 'b', 'B', '\xC4')));

std::vector<const char*> Pointers(const Texts& texts) {
  std::vector<const char*> pointers{nullptr};  // skipped
  std::transform(texts.begin(), texts.end(), back_inserter(pointers), [](const auto& text) { return text.c_str(); });
  return pointers;
}

RC_GTEST_PROP(EnumeratedSettings, TakeTextsLeniently, ()) {
  const auto entries = *rc::gen::nonEmpty(rc::gen::container<Texts>(kText));
  const auto text = *kText;
  const auto first = *rc::gen::inRange(0U, static_cast<unsigned>(entries.size()));
  const auto count = static_cast<unsigned>(entries.size());
  auto pointers = Pointers(entries);
  EnumSetting setting("", "", entries[first].c_str(), count + 1, pointers.data());
  StringEnumSetting pairs("", "");
  for (unsigned index = 0; index < count; ++index) {
    pairs.AddValue(entries[index].c_str(), static_cast<int>(index + 5));
  }
  const unsigned match = Match(entries, text);
  const unsigned selected = match < count ? match : first;
  RC_ASSERT(setting.GetSelected() == Find(entries, entries[first]) && setting.FindIndexOfEnum(text.c_str()) == match);
  for (ISetting* either : std::initializer_list<ISetting*>{&setting, &pairs}) {
    CallSlot(either, 22, first);
    CallSlot(either, 22, count);  // there is none
    CallSlot(either, 20, static_cast<const char*>(nullptr));
    CallSlot(either, 20, text.c_str());
    const auto selectedNow = std::to_string(selected + (either == &pairs ? 5 : 0));
    RC_ASSERT(ReadSlots(either, 19, "s.u.u") ==
              ' ' + entries[selected] + ' ' + selectedNow + ' ' + std::to_string(count));
    RC_ASSERT(CallSlot<const char*>(either, 24, match) == (match < count ? entries[match] : ""));
    RC_ASSERT(ReadSlots(CopyOf(*either).get(), 19, "s.u.u") == ReadSlots(either, 19, "s.u.u"));
    const auto exact = static_cast<int>(Find(entries, text));
    RC_ASSERT(CallSlot<int>(either, 25, text.c_str()) == (exact < static_cast<int>(count) ? exact : -1));
  }
  setting.AddAnEnum(text.c_str());
  setting.AddAnEnum(nullptr);
  pairs.AddValue(text.c_str(), -1);
  RC_ASSERT(setting.GetAllowableValue(count) == text && setting.GetNumberOfAllowableValues() == count + 1);
  RC_ASSERT(setting.GetSelected() == selected && pairs.GetValueInt() == static_cast<int>(selected) + 5);
  const auto later = *rc::gen::container<Texts>(kText);
  pointers = Pointers(later);
  setting.ResetAllowableValues(static_cast<unsigned>(pointers.size()), pointers.data());
  const unsigned kept = Find(later, entries[selected]);
  RC_ASSERT(setting.GetSelected() == (kept < later.size() ? kept : 0));  // the selection follows its text
  RC_ASSERT(setting.GetValue() == (later.empty() ? "" : later[setting.GetSelected()]));
}

// Hosts keep the pointers that getters gave them.
TEST(EnumeratedSettings, LeaveTheirTextsWhereTheyAre) {
  const char* entries[] = {"one", "two"};
  EnumSetting setting("", "", "one", 2, entries);
  StringEnumSetting pairs("", "");
  pairs.AddValue("one", 1);
  const std::array<const char*, 3> texts{setting.GetValue(), setting.GetAllowableValue(1), pairs.GetValue()};
  for (int added = 0; added < 1000; ++added) {
    setting.AddAnEnum("another");
    pairs.AddValue("another", 2);
  }
  EXPECT_EQ(texts, (std::array{setting.GetValue(), setting.GetAllowableValue(1), pairs.GetValue()}));
}

TEST(EnumeratedSettings, SelectNothingWithoutAMatch) {
  struct Counting : StringEnumSetting {
    Counting() : StringEnumSetting("", "") {}
    void SetSelected(unsigned int /*index*/) override { ++calls; }
    int calls = 0;
  } setting;
  setting.AddValue("one", 1);
  setting.SetValue("two");
  EXPECT_EQ(setting.calls, 0);
}

TEST(StringEnumSetting, FindsPairsByNumberAndOutlivesItsList) {
  StringEnumSetting setting("", "");
  EXPECT_EQ(ReadSlots(&setting, 19, "s.u.u"), "  0 0");
  setting.AddValue("one", 1);
  setting.AddValue(nullptr, 2);
  setting.AddValue(nullptr, 2);
  setting.SetValue(2);
  setting.SetValue(3);
  EXPECT_TRUE(setting.FindIndexOf(2) == 1 && setting.FindIndexOf(3) == -1 && setting.GetAllowableIntValue(2) == 2);
  EXPECT_EQ(setting.GetValueInt(), 2);
  EXPECT_EQ(setting.GetAllowableIntValue(3), 0);
  setting.Clear();
  EXPECT_EQ(ReadSlots(&setting, 19, "s.u.u"), "  0 0");
  setting.AddValue("new", 8);
  setting.AddValue("newer", 9);
  EXPECT_EQ(setting.GetValueInt(), 9) << "the index has stayed";
}

}  // namespace
