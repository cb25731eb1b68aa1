#include "RHOAPI/RhoapiSettings.h"
#include "Tests/Support/Slots.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>
#include <algorithm>
#include <cmath>
#include <vector>

namespace {

template <class Setting, class Value>
void ExpectTheRulesOfNumbers(const char* kinds) {
  Value allowable[] = {16, 24};
  Setting setting("", "", 20, 8, 32, 2, allowable);
  setting.SetLowLabel("low");
  setting.SetHighLabel("high");
  EXPECT_EQ(ReadSlots(&setting, 19, kinds), " low high 20 8 32 2");
  const auto value = [&] { return CallSlot<Value>(&setting, 21); };
  const auto takes = [&](Value number) { return CallSlot(&setting, 22, number), value() == number; };
  EXPECT_TRUE(takes(5)) << "unconstrained, and the range is for the host";
  setting.SetIsValueConstrained(2);
  EXPECT_TRUE(takes(24) && !takes(20) && value() == 24);
  EXPECT_TRUE((CallSlot(&setting, 28, 0U), value()) == 16 && (CallSlot(&setting, 28, 2U), value()) == 16);
  for (const auto& [index, number] : {std::pair<unsigned, Value>{0, 16}, {1, 24}, {2, 0}}) {  // there is no third
    EXPECT_EQ(CallSlot<Value>(&setting, 26, index), number);
    EXPECT_EQ(CallSlot<int>(&setting, 27, number), number == 0 ? -1 : static_cast<int>(index));
  }
  Setting copy(setting);
  copy.ResetAllowableValues(2, nullptr);
  copy.SetValue(24);
  EXPECT_TRUE(copy.GetValue() == 16 && copy.GetNumberOfAllowableValues() == 0 && takes(24)) << "lists are their own";
}

TEST(NumericSettings, ApplyTheConstraintAndNeverTheRange) {
  ExpectTheRulesOfNumbers<UnsignedIntSetting, unsigned>("ssu.uuu");
  ExpectTheRulesOfNumbers<IntSetting, int>("ssu.uuu");
  ExpectTheRulesOfNumbers<DoubleSetting, double>("ssd.ddu");
}

RC_GTEST_PROP(UnsignedIntSetting, KeepsItsValuesAscending, (std::vector<unsigned> values, unsigned char added)) {
  std::for_each(values.begin(), values.end(), [](unsigned& value) { value %= 256; });  // for equal ones
  UnsignedIntSetting setting("", "", 0, 0, 0, static_cast<unsigned>(values.size()), values.data());
  const UnsignedIntSetting copy(setting);
  for (const unsigned value : {added + 0U, 128U, added / 2U}) {  // no look-up between the second and the third
    setting.AddAllowableValue(value);
    values.push_back(value);
    RC_ASSERT(value == 128 || setting.FindIndexOf(value) >= 0);
  }
  RC_ASSERT(setting.GetNumberOfAllowableValues() == copy.GetNumberOfAllowableValues() + 3);
  std::sort(values.begin(), values.end());
  for (unsigned index = 0; index < values.size(); ++index) {
    RC_ASSERT(setting.GetAllowableValue(index) == values[index]);
    RC_ASSERT(setting.FindIndexOf(values[index]) ==
              std::lower_bound(values.begin(), values.end(), values[index]) - values.begin());
  }
}

TEST(IntSetting, SharesTheCallersArrayWithItsCopies) {
  int allowable[] = {9, -3, 9};
  IntSetting setting("", "", 0, 0, 0, 3, allowable);
  IntSetting copy(setting);
  allowable[1] = 7;
  EXPECT_TRUE(copy.FindIndexOf(7) == 1 && copy.FindIndexOf(9) == 0 && copy.FindIndexOf(-3) == -1);
  copy.ResetMinMax(-5, 5);
  copy.ResetAllowableValues(~0U, allowable);
  static_assert(std::is_same_v<decltype(&IntSetting::ResetAllowableValues), void (IntSetting::*)(unsigned, int*)>);
  EXPECT_TRUE(copy.FindIndexOf(9) == -1 && copy.GetMinValue() == -5 && copy.GetMaxValue() == 5);
  copy.SetValue(9);
  copy.ResetMinMax(-1, 1);
  EXPECT_EQ(copy.GetValue(), 9);
}

TEST(DoubleSetting, ComparesInThousandths) {
  using Case = std::tuple<double, double, bool>;
  const Case cases[] = {{29.9704, 29.97, true},    {29.969, 29.97, false},    {-0.0004, 0.0004, true},
                        {0.00094, -0.00104, true}, {0.00096, 0, false},       {-0.00106, 0, false},
                        {HUGE_VAL, 1e300, true},   {-HUGE_VAL, 1e300, false}, {-1e300, -1e17, true},
                        {NAN, 0, false},           {0, NAN, false},           {NAN, NAN, false}};
  for (const auto& [value, listed, equal] : cases) {
    double allowable = listed;
    DoubleSetting setting("", "", 1, 0, 0, 1, &allowable);
    EXPECT_EQ(setting.FindIndexOf(value), equal ? 0 : -1) << value << " against " << listed;
    setting.SetIsValueConstrained(1);
    setting.SetValue(value);
    EXPECT_EQ(setting.GetValue(), equal ? value : 1) << "the value given, not the one it matched";
  }
  double one = 1;
  DoubleSetting setting("", "", 0, 0, 0, 1, &one);
  const int precision = std::exchange(DoubleSetting::m_comparePrecision, 1);
  const double rounding = std::exchange(DoubleSetting::m_compareRounding, 0.5);
  EXPECT_TRUE(setting.FindIndexOf(0.5) == 0 && setting.FindIndexOf(1.5) == -1);
  DoubleSetting::m_comparePrecision = precision;
  DoubleSetting::m_compareRounding = rounding;
}

}  // namespace
