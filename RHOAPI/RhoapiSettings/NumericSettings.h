#pragma once

/// Numbers with a range, a list of allowable values and texts for the ends of the range. A new setting is
/// unconstrained; its initial value is not checked.

#include "RHOAPI/RHOAPIExport.h"
#include "RHOAPI/RhoapiSettings/Setting.h"

#include <algorithm>
#include <cstddef>
#include <vector>

/// The common part of the numeric kinds: everything but the allowable values.
template <class Concrete, class Interface, ESettingType kType, class Value>
class TNumericSetting : public TSetting<Concrete, Interface, kType> {
  using Base = TSetting<Concrete, Interface, kType>;

 public:
  const char* GetLowLabel() const override { return m_lowLabel.c_str(); }
  const char* GetHighLabel() const override { return m_highLabel.c_str(); }
  Value GetValue() const override { return m_value; }
  void SetValue(Value value) override {
    if (this->GetIsValueConstrained() == 0 || this->FindIndexOf(value) >= 0) {
      m_value = value;
    }
  }
  Value GetMinValue() const override { return m_min; }
  Value GetMaxValue() const override { return m_max; }
  void SetSelected(unsigned int index) override {
    if (index < this->GetNumberOfAllowableValues()) {
      m_value = this->GetAllowableValue(index);
    }
  }

  /// Sets the text for the lower end of the range.
  void SetLowLabel(const char* text) { m_lowLabel = OrEmpty(text); }
  /// Sets the text for the upper end of the range.
  void SetHighLabel(const char* text) { m_highLabel = OrEmpty(text); }
  /// Sets which control or dialog hosts show.
  void SetDialogHint(unsigned int dialogHint) { this->StoreDialogHint(dialogHint); }
  using Base::SetIsValueConstrained;
  using Base::SetUnits;

 protected:
  /// An unconstrained setting.
  TNumericSetting(const char* label, const char* presetLabel, Value value, Value min, Value max)
      : Base(label, presetLabel, 1, 0), m_value(value), m_min(min), m_max(max) {}

  /// Replaces the range; the value stays.
  void SetRange(Value min, Value max) {
    m_min = min;
    m_max = max;
  }

 private:
  std::string m_lowLabel;
  std::string m_highLabel;
  Value m_value;
  Value m_min;
  Value m_max;
};

/// Allowable values that the setting owns, in ascending order, duplicates included. Adding n values takes linear time
/// when they ascend, n log n otherwise: they are sorted at the next look-up.
class TAscendingValues {
 public:
  /// When out of memory nothing changes.
  void Add(unsigned int value) {
    const bool ascends = m_ordered == m_values.size() && (m_values.empty() || m_values.back() <= value);
    m_values.push_back(value);
    m_ordered += ascends ? 1 : 0;
  }
  /// Replaces the values by the `count` at `values`, none when that is null. When out of memory nothing changes.
  void Assign(unsigned int count, const unsigned int* values) {
    std::vector<unsigned int> copy;
    if (values != nullptr) {
      copy.assign(values, values + count);
    }
    m_values.swap(copy);
    m_ordered = static_cast<std::size_t>(std::is_sorted_until(m_values.begin(), m_values.end()) - m_values.begin());
  }
  /// The number of values.
  unsigned int Size() const { return static_cast<unsigned int>(m_values.size()); }
  /// The value at `index`; 0 if there is none.
  unsigned int At(unsigned int index) const { return index < m_values.size() ? Ordered()[index] : 0; }
  /// Index of the first element that equals `value`, or -1.
  int Find(unsigned int value) const {
    const std::vector<unsigned int>& values = Ordered();
    const auto found = std::lower_bound(values.begin(), values.end(), value);
    return found != values.end() && *found == value ? static_cast<int>(found - values.begin()) : -1;
  }

 private:
  const std::vector<unsigned int>& Ordered() const {
    if (m_ordered != m_values.size()) {
      const auto added = m_values.begin() + static_cast<std::ptrdiff_t>(m_ordered);
      std::sort(added, m_values.end());
      std::inplace_merge(m_values.begin(), added, m_values.end());
      m_ordered = m_values.size();
    }
    return m_values;
  }

  mutable std::vector<unsigned int> m_values;
  mutable std::size_t m_ordered = 0;  // at least this many values at the front are sorted
};

/// An unsigned number. The setting owns its allowable values and keeps them in ascending order, duplicates included.
class RHOAPI_EXPORT UnsignedIntSetting
    : public TNumericSetting<UnsignedIntSetting, IUnsignedIntSetting, kSettingTypeUnsignedInt, unsigned int> {
 public:
  /// A setting without label and allowable values: 0, in the range from 0 to 0.
  UnsignedIntSetting();
  /// Copies the `count` numbers at `values`, which may be null when `count` is 0.
  UnsignedIntSetting(const char* label, const char* presetLabel, unsigned int value, unsigned int min, unsigned int max,
                     unsigned int count, unsigned int* values);

  unsigned int GetNumberOfAllowableValues() const override { return m_allowableValues.Size(); }
  unsigned int GetAllowableValue(unsigned int index) const override { return m_allowableValues.At(index); }
  int FindIndexOf(unsigned int value) override { return m_allowableValues.Find(value); }

  /// Adds one allowable value, even if there is an equal one. When out of memory nothing changes.
  void AddAllowableValue(unsigned int value);
  /// Replaces the allowable values. Neither the value nor the constrained flag changes, so a constrained setting may
  /// keep a value that is no longer allowable. When out of memory nothing changes.
  void ResetAllowableValues(unsigned int count, unsigned int* values);

 private:
  TAscendingValues m_allowableValues;
};

/// Allowable values that the caller owns: count and pointer are stored as given, the order is the caller's, and copies
/// of the setting share the array. The caller keeps the array alive as long as the setting or any copy exists and may
/// change its elements meanwhile. A null array counts as no values.
template <class Value, class Count>
class TBorrowedValues {
 public:
  TBorrowedValues() = default;
  /// Keeps both as given.
  TBorrowedValues(Count count, Value* values) : m_count(count), m_values(values) {}

  /// The number of values.
  unsigned int Size() const { return m_values == nullptr || m_count <= 0 ? 0 : static_cast<unsigned int>(m_count); }
  /// The value at `index`; 0 if there is none.
  Value At(unsigned int index) const { return index < Size() ? m_values[index] : Value(); }

  /// Index of the first value that `equals` accepts, or -1.
  template <class Predicate>
  int Find(Predicate equals) const {
    for (unsigned int index = 0; index < Size(); ++index) {
      if (equals(m_values[index])) {
        return static_cast<int>(index);
      }
    }
    return -1;
  }

 private:
  Count m_count = 0;
  Value* m_values = nullptr;
};

/// A signed number. The caller owns the allowable values (TBorrowedValues).
class RHOAPI_EXPORT IntSetting : public TNumericSetting<IntSetting, IIntSetting, kSettingTypeInt, int> {
 public:
  /// A setting without label and allowable values: 0, in the range from 0 to 0.
  IntSetting();
  /// A negative `count` counts as 0.
  IntSetting(const char* label, const char* presetLabel, int value, int min, int max, int count, int* values);

  unsigned int GetNumberOfAllowableValues() const override { return m_allowableValues.Size(); }
  int GetAllowableValue(unsigned int index) const override { return m_allowableValues.At(index); }
  int FindIndexOf(int value) override {
    return m_allowableValues.Find([value](int allowable) { return allowable == value; });
  }

  /// Stores `count` and `values` as given; a count beyond int counts as 0.
  void ResetAllowableValues(unsigned int count, int* values);
  /// Replaces the range; the value stays.
  void ResetMinMax(int min, int max);

 private:
  TBorrowedValues<int, int> m_allowableValues;
};

/// A floating-point number. The caller owns the allowable values (TBorrowedValues). Two numbers count as equal when
/// (number + 0.00005) * 1000, truncated toward zero, is equal: 29.97 equals 29.9704 but not 29.969.
class RHOAPI_EXPORT DoubleSetting : public TNumericSetting<DoubleSetting, IDoubleSetting, kSettingTypeDouble, double> {
 public:
  /// A setting without label and allowable values: 0, in the range from 0 to 0.
  DoubleSetting();
  /// Keeps `count` and `values` as given.
  DoubleSetting(const char* label, const char* presetLabel, double value, double min, double max, unsigned int count,
                double* values);

  unsigned int GetNumberOfAllowableValues() const override { return m_allowableValues.Size(); }
  double GetAllowableValue(unsigned int index) const override { return m_allowableValues.At(index); }
  /// Numbers whose thousandths do not fit in 64 bits equal all such numbers of the same sign. NaN equals nothing.
  int FindIndexOf(double value) override {
    return m_allowableValues.Find([value](double allowable) { return AreEqual(allowable, value); });
  }

  /// Keeps `count` and `values` as given.
  void ResetAllowableValues(unsigned int count, double* values);

  /// The factor and the summand of the comparison. All settings of this kind share them and read them on every
  /// comparison.
  static int m_comparePrecision;
  static double m_compareRounding;  ///< what is added

 private:
  static bool AreEqual(double left, double right);

  TBorrowedValues<double, unsigned int> m_allowableValues;
};
