#include "RHOAPI/RhoapiSettings/NumericSettings.h"

#include "Toolbox/KelUtils/Numbers/SaturatingCast.h"

#include <cmath>

UnsignedIntSetting::UnsignedIntSetting() : UnsignedIntSetting("", "", 0, 0, 0, 0, nullptr) {}

UnsignedIntSetting::UnsignedIntSetting(const char* label, const char* presetLabel, unsigned int value, unsigned int min,
                                       unsigned int max, unsigned int count, unsigned int* values)
    : TNumericSetting(label, presetLabel, value, min, max) {
  ResetAllowableValues(count, values);
}

void UnsignedIntSetting::AddAllowableValue(unsigned int value) { m_allowableValues.Add(value); }

void UnsignedIntSetting::ResetAllowableValues(unsigned int count, unsigned int* values) {
  m_allowableValues.Assign(count, values);
}

IntSetting::IntSetting() : IntSetting("", "", 0, 0, 0, 0, nullptr) {}

IntSetting::IntSetting(const char* label, const char* presetLabel, int value, int min, int max, int count, int* values)
    : TNumericSetting(label, presetLabel, value, min, max), m_allowableValues(count, values) {}

void IntSetting::ResetAllowableValues(unsigned int count, int* values) {
  // A count beyond int becomes negative, and TBorrowedValues takes it for no values.
  m_allowableValues = {static_cast<int>(count), values};
}

void IntSetting::ResetMinMax(int min, int max) { SetRange(min, max); }

int DoubleSetting::m_comparePrecision = 1000;
double DoubleSetting::m_compareRounding = 5e-05;

DoubleSetting::DoubleSetting() : DoubleSetting("", "", 0, 0, 0, 0, nullptr) {}

DoubleSetting::DoubleSetting(const char* label, const char* presetLabel, double value, double min, double max,
                             unsigned int count, double* values)
    : TNumericSetting(label, presetLabel, value, min, max), m_allowableValues(count, values) {}

bool DoubleSetting::AreEqual(double left, double right) {
  // The number in units of 1 / m_comparePrecision, truncated toward zero. SaturatingCast turns NaN into 0, hence the
  // tests for NaN.
  const auto key = [](double number) {
    return SaturatingCast<long long>((number + m_compareRounding) * m_comparePrecision);
  };
  return !std::isnan(left) && !std::isnan(right) && key(left) == key(right);
}

void DoubleSetting::ResetAllowableValues(unsigned int count, double* values) { m_allowableValues = {count, values}; }
