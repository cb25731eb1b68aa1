#include "Host/Settings/SettingValue.h"

#include "Host/Settings/SettingKinds.h"
#include "Host/Settings/SettingText.h"
#include "Host/Text/Errors.h"

#include <strings.h>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <type_traits>
#include <utility>

namespace {

/// A text of the module, which may be null.
std::string TextOrEmpty(const char* text) { return text == nullptr ? std::string() : text; }

/// The setting's value, as the alternative of SettingValue that belongs to its kind.
struct Getter {
  template <OneOf<IBoolSetting, IIntSetting, IUnsignedIntSetting, IDoubleSetting, ITimeCodeSetting> Setting>
  SettingValue operator()(Setting& setting) const {
    return setting.GetValue();
  }
  template <OneOf<IEnumSetting, IFileSetting, ITextSetting> Setting>
  SettingValue operator()(Setting& setting) const {
    return TextOrEmpty(setting.GetValue());
  }
  SettingValue operator()(ITimeInOutSetting& setting) const {
    return TimeRange{setting.GetTimeIn(), setting.GetTimeOut(), setting.GetTimeScale()};
  }
  SettingValue operator()(IUnsignedIntArraySetting& setting) const {
    std::vector<unsigned int> numbers(setting.GetNumberOfValues());
    setting.GetValues(numbers.data(), static_cast<unsigned int>(numbers.size()));
    return numbers;
  }
  SettingValue operator()(IByteArraySetting& setting) const {
    const unsigned char* const data = setting.GetData();
    return data == nullptr ? std::vector<unsigned char>() : std::vector(data, data + setting.GetDataSize());
  }
  SettingValue operator()(ISettingArray& /*setting*/) const { return {}; }
  SettingValue operator()(const UnknownSetting& /*setting*/) const { return {}; }
};

/// The value as a `Number`; nothing if that would change it, or if it is not a number.
template <class Number>
struct Exactly {
  template <class Other>
  std::optional<Number> operator()(const Other& value) const {
    if constexpr (std::is_same_v<Other, Number>) {
      return value;
    } else if constexpr (std::is_integral_v<Other> && std::is_integral_v<Number>) {
      return std::in_range<Number>(value) ? std::optional(static_cast<Number>(value)) : std::nullopt;
    } else if constexpr (std::is_integral_v<Other> && std::is_floating_point_v<Number>) {
      return static_cast<Number>(value);
    } else if constexpr (std::is_floating_point_v<Other> && std::is_integral_v<Number>) {
      using Limits = std::numeric_limits<Number>;
      const bool isExact = value >= Limits::lowest() && value <= Limits::max() && std::trunc(value) == value;
      return isExact ? std::optional(static_cast<Number>(value)) : std::nullopt;
    } else {
      return std::nullopt;
    }
  }
};

/// The value as the setting would return it; nothing if it is not allowed.
struct Accepter {
  const SettingValue& value;

  std::optional<SettingValue> operator()(IBoolSetting& /*setting*/) const { return Found(Number<unsigned int>()); }
  template <class Type>
  std::optional<SettingValue> operator()(INumericSetting<Type>& setting) const {
    const std::optional<Type> number = Number<Type>();
    if (!number) {
      return std::nullopt;
    }
    const bool hasRange = setting.GetMinValue() < setting.GetMaxValue();
    const bool isAllowed = setting.GetNumberOfAllowableValues() != 0
                               ? setting.FindIndexOf(*number) >= 0
                               : !hasRange || (*number >= setting.GetMinValue() && *number <= setting.GetMaxValue());
    return isAllowed ? Found(number) : std::nullopt;
  }
  std::optional<SettingValue> operator()(IEnumSetting& setting) const {
    const auto* const text = std::get_if<std::string>(&value);
    // An exact match in any entry goes before one that ignores letter case.
    for (const auto matches : {strcmp, strcasecmp}) {
      for (unsigned int index = 0; text != nullptr && index < setting.GetNumberOfAllowableValues(); ++index) {
        const std::string entry = TextOrEmpty(setting.GetAllowableValue(index));
        if (matches(text->c_str(), entry.c_str()) == 0) {
          return entry;
        }
      }
    }
    return std::nullopt;
  }
  std::optional<SettingValue> operator()(IFileSetting& /*setting*/) const { return IfOfType<std::string>(); }
  std::optional<SettingValue> operator()(ITextSetting& /*setting*/) const { return IfOfType<std::string>(); }
  std::optional<SettingValue> operator()(ITimeCodeSetting& /*setting*/) const { return IfOfType<KelTimeCode>(); }
  std::optional<SettingValue> operator()(ITimeInOutSetting& /*setting*/) const { return IfOfType<TimeRange>(); }
  std::optional<SettingValue> operator()(IUnsignedIntArraySetting& setting) const {
    const auto* const numbers = std::get_if<std::vector<unsigned int>>(&value);
    // SetValues would ignore a shorter list and drop the end of a longer one.
    return numbers != nullptr && numbers->size() == setting.GetNumberOfValues() ? std::optional(value) : std::nullopt;
  }
  std::optional<SettingValue> operator()(IByteArraySetting& /*setting*/) const {
    return IfOfType<std::vector<unsigned char>>();
  }
  std::optional<SettingValue> operator()(ISettingArray& /*setting*/) const { return std::nullopt; }
  std::optional<SettingValue> operator()(const UnknownSetting& /*setting*/) const { return std::nullopt; }

 private:
  template <class Type>
  std::optional<Type> Number() const {
    return std::visit(Exactly<Type>(), value);
  }
  template <class Type>
  static std::optional<SettingValue> Found(const std::optional<Type>& number) {
    return number ? std::optional<SettingValue>(*number) : std::nullopt;
  }
  template <class Type>
  std::optional<SettingValue> IfOfType() const {
    return std::holds_alternative<Type>(value) ? std::optional(value) : std::nullopt;
  }
};

/// Gives a setting a value of its type.
struct Setter {
  const SettingValue& value;

  void operator()(IBoolSetting& setting) const { setting.SetValue(std::get<unsigned int>(value)); }
  template <class Number>
  void operator()(INumericSetting<Number>& setting) const {
    setting.SetValue(std::get<Number>(value));
  }
  void operator()(IEnumSetting& setting) const {
    // By index: SetValue also matches beginnings.
    for (unsigned int index = 0; index < setting.GetNumberOfAllowableValues(); ++index) {
      if (TextOrEmpty(setting.GetAllowableValue(index)) == std::get<std::string>(value)) {
        return setting.SetSelected(index);
      }
    }
  }
  template <OneOf<IFileSetting, ITextSetting> Setting>
  void operator()(Setting& setting) const {
    setting.SetValue(std::get<std::string>(value).c_str());
  }
  void operator()(ITimeCodeSetting& setting) const { setting.SetValue(std::get<KelTimeCode>(value)); }
  void operator()(ITimeInOutSetting& setting) const {
    const auto& range = std::get<TimeRange>(value);
    setting.SetValue(range.scale, range.in, range.out);
  }
  void operator()(IUnsignedIntArraySetting& setting) const {
    auto numbers = std::get<std::vector<unsigned int>>(value);
    setting.SetValues(numbers.data(), static_cast<unsigned int>(numbers.size()));
  }
  void operator()(IByteArraySetting& setting) const {
    const auto& bytes = std::get<std::vector<unsigned char>>(value);
    setting.SetData(bytes.data(), static_cast<unsigned int>(bytes.size()));
  }
  void operator()(ISettingArray& /*setting*/) const {}
  void operator()(const UnknownSetting& /*setting*/) const {}
};

/// The number of allowable values; 0 for kinds that have no list of them.
struct AllowableValues {
  template <OneOf<IEnumSetting, IIntSetting, IUnsignedIntSetting, IDoubleSetting> Setting>
  unsigned int operator()(Setting& setting) const {
    return setting.GetNumberOfAllowableValues();
  }
  template <SettingWithoutList Setting>
  unsigned int operator()(Setting& /*setting*/) const {
    return 0;
  }
  unsigned int operator()(ISettingArray& /*setting*/) const { return 0; }
  unsigned int operator()(const UnknownSetting& /*setting*/) const { return 0; }
};

}  // namespace

SettingValue GetValue(ISetting& setting) { return VisitSetting(setting, Getter()); }

bool IsAllowed(ISetting& setting, const SettingValue& value) {
  return VisitSetting(setting, Accepter{value}).has_value();
}

void SetValue(ISetting& setting, const SettingValue& value) {
  const std::optional<SettingValue> accepted = VisitSetting(setting, Accepter{value});
  if (!accepted) {
    throw WrongUse(Refusal(setting, ValueText(setting, value)));
  }
  const SettingValue before = GetValue(setting);
  VisitSetting(setting, Setter{*accepted});
  // As texts: these tell -0 from 0, take not-a-number for equal, and leave out what a time code does not count.
  if (ValueText(setting) != ValueText(setting, *accepted)) {
    // Some of the value may have been stored, as the first 255 bytes of a path.
    VisitSetting(setting, Setter{before});
    throw WrongUse(Refusal(setting, ValueText(setting, value)));
  }
}

unsigned int NumberOfAllowableValues(ISetting& setting) { return VisitSetting(setting, AllowableValues()); }
