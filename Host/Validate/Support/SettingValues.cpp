#include "Host/Validate/Support/SettingValues.h"

#include "Host/Settings/SettingKinds.h"
#include "Host/Settings/SettingText.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Numbers.h"
#include "Host/Text/Utf8.h"

#include <fmt/format.h>
#include <algorithm>
#include <cstring>
#include <limits>

namespace {

/// The most values of one setting that are tried: checks try combinations of them.
constexpr unsigned int kMostTried = 64;

/// Calls `take` with `count` indexes, or so many of them that kMostTried are left, the first and the last included.
template <class Take>
void ForSomeOf(unsigned int count, Take take) {
  const unsigned int tried = std::min(count, kMostTried);
  for (unsigned int i = 0; i < tried; ++i) {
    // Evenly spaced. The product is computed in 64 bits, which hold it for any count.
    take(tried < 2 ? i : static_cast<unsigned int>(std::uint64_t{i} * (count - 1) / (tried - 1)));
  }
}

/// ValuesToTry for each kind of setting.
struct Samples {
  std::vector<std::string> operator()(ISettingArray& /*setting*/) const { return {}; }
  std::vector<std::string> operator()(const UnknownSetting& /*setting*/) const { return {}; }
  std::vector<std::string> operator()(IBoolSetting& /*setting*/) const { return {"false", "true"}; }
  template <class Number>
  std::vector<std::string> operator()(INumericSetting<Number>& setting) const {
    using Limits = std::numeric_limits<Number>;
    std::vector<Number> numbers;
    const Number min = setting.GetMinValue();
    const Number max = setting.GetMaxValue();
    if (const unsigned int count = setting.GetNumberOfAllowableValues(); count != 0) {
      ForSomeOf(count, [&](unsigned int index) { numbers.push_back(setting.GetAllowableValue(index)); });
      std::sort(numbers.begin(), numbers.end());
    } else if (setting.GetIsValueConstrained() == 0) {
      // Half and half, since the sum of the ends may overflow. Without a range: the extreme values of the type. A
      // constrained setting without a list takes nothing.
      numbers = min < max ? std::vector<Number>{min, static_cast<Number>(min / 2 + max / 2), max}
                          : std::vector<Number>{Limits::lowest(), Number(0), Limits::max()};
    }
    std::vector<std::string> texts(numbers.size());
    std::transform(numbers.begin(), numbers.end(), texts.begin(), NumberText<Number>);
    return texts;
  }
  std::vector<std::string> operator()(IEnumSetting& setting) const {
    std::vector<std::string> texts;
    ForSomeOf(setting.GetNumberOfAllowableValues(),
              [&](unsigned int index) { texts.emplace_back(setting.GetAllowableValue(index)); });
    return texts;
  }
  std::vector<std::string> operator()(IFileSetting& /*setting*/) const {
    // 255 bytes are the longest path that a file setting keeps.
    return {"", "/nowhere/a \"b\" Caf\xC3\xA9.wav", std::string(255, 'x')};
  }
  std::vector<std::string> operator()(ITextSetting& /*setting*/) const {
    // The third is Latin-1, which is not valid UTF-8: a text setting keeps any bytes.
    return {"", "a=\"b\"\\ Caf\xC3\xA9\n", "Caf\xE9", std::string(10000, 'x')};
  }
  std::vector<std::string> operator()(ITimeCodeSetting& setting) const {
    // The units of a time code show its form: "mmm" for milliseconds in the last part.
    const bool countsFrames = std::strstr(setting.GetUnits(), "mmm") == nullptr;
    return countsFrames ? std::vector<std::string>{"0:00:00:00", "1:02:03:04", "100:59:59:29"}
                        : std::vector<std::string>{"0:00:00:000", "1:02:03:004", "100:59:59:999"};
  }
  std::vector<std::string> operator()(ITimeInOutSetting& /*setting*/) const {
    // The last one has an end of 2^64 - 1.
    return {"0-0/1", "600-6000/600", "1-18446744073709551615/48000"};
  }
  std::vector<std::string> operator()(IUnsignedIntArraySetting& setting) const {
    const unsigned int min = setting.GetMinValue();
    const unsigned int max = setting.GetMaxValue();
    std::vector<std::string> texts;
    // All values at the lower end, then all at the upper one. Equal ends do not make a range.
    for (const unsigned int number : {min, min < max ? max : std::numeric_limits<unsigned int>::max()}) {
      std::string text;
      for (unsigned int index = 0; index < setting.GetNumberOfValues(); ++index) {
        text.append(index == 0 ? "" : ",").append(NumberText(number));
      }
      texts.push_back(text);
    }
    return texts;
  }
  std::vector<std::string> operator()(IByteArraySetting& /*setting*/) const {
    return {"", "00ff10", std::string(20000, 'a')};
  }
};

/// ValueFault for each kind of setting. Kinds without list and range have no wrong values.
struct Fault {
  template <OneOf<IBoolSetting, IFileSetting, ITextSetting, ITimeCodeSetting, ITimeInOutSetting, IByteArraySetting,
                  ISettingArray>
                Setting>
  std::string operator()(Setting& /*setting*/) const {
    return {};
  }
  std::string operator()(const UnknownSetting& /*setting*/) const { return {}; }
  template <class Number>
  std::string operator()(INumericSetting<Number>& setting) const {
    const Number value = setting.GetValue();
    const unsigned int count = setting.GetNumberOfAllowableValues();
    if (count != 0 && setting.FindIndexOf(value) < 0) {
      return fmt::format("{}, which is not among its allowable values", NumberText(value));
    }
    return count != 0 ? std::string() : RangeFault(setting.GetMinValue(), setting.GetMaxValue(), value);
  }
  std::string operator()(IEnumSetting& setting) const {
    const unsigned int count = setting.GetNumberOfAllowableValues();
    if (count == 0) {
      return "no entry to select";
    }
    const std::string value = setting.GetValue();
    // Not by FindIndexOf, which is the subject of a check itself.
    for (unsigned int index = 0; index < count; ++index) {
      if (value == setting.GetAllowableValue(index)) {
        return {};
      }
    }
    return fmt::format("\"{}\", which is not among its entries", ToUtf8(value));
  }
  std::string operator()(IUnsignedIntArraySetting& setting) const {
    std::string fault;
    for (unsigned int index = 0; index < setting.GetNumberOfValues() && fault.empty(); ++index) {
      fault = RangeFault(setting.GetMinValue(), setting.GetMaxValue(), setting.GetValue(index));
    }
    return fault;
  }

 private:
  /// A range whose ends are equal does not limit anything.
  template <class Number>
  static std::string RangeFault(Number min, Number max, Number value) {
    const bool isWithin = !(min < max) || (value >= min && value <= max);
    return isWithin ? std::string()
                    : fmt::format("{}, which is outside its range {} to {}", NumberText(value), NumberText(min),
                                  NumberText(max));
  }
};

/// MisuseSetting for each kind of setting.
struct Misuse {
  static constexpr unsigned int kFarthest = std::numeric_limits<unsigned int>::max();

  template <class Number>
  void operator()(INumericSetting<Number>& setting) const {
    setting.SetSelected(kFarthest);
    setting.GetAllowableValue(kFarthest);
    // Whether the number is listed makes no difference: nothing is expected of the answer.
    setting.FindIndexOf(setting.GetMaxValue());
  }
  void operator()(IEnumSetting& setting) const {
    setting.SetSelected(kFarthest);
    setting.GetAllowableValue(kFarthest);
    for (const char* const text : {"?", static_cast<const char*>(nullptr)}) {
      setting.SetValue(text);
      setting.FindIndexOf(text);
    }
  }
  void operator()(ISettingArray& /*setting*/) const {}
  template <SettingWithoutList Setting>
  void operator()(Setting& /*setting*/) const {}
  void operator()(const UnknownSetting& /*setting*/) const {}
};

}  // namespace

std::vector<std::string> ValuesToTry(ISetting& setting) { return VisitSetting(setting, Samples()); }

std::string ValueFault(ISetting& setting) { return VisitSetting(setting, Fault()); }

bool ChangeValue(ISetting& setting) {
  const std::string before = ValueText(setting);
  for (const std::string& value : ValuesToTry(setting)) {
    // The first value other than this one that the setting takes.
    if (value == before) {
      continue;
    }
    try {
      SetValueText(setting, value);
      return true;
    } catch (const WrongUse&) {
      continue;  // the next may be taken
    }
  }
  return false;
}

void MisuseSetting(ISetting& setting) { VisitSetting(setting, Misuse()); }
