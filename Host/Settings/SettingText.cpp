#include "Host/Settings/SettingText.h"

#include "Host/Settings/SettingKinds.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Hexadecimal.h"
#include "Host/Text/Numbers.h"
#include "Toolbox/KelUtils/Media/TimeCodes.h"

#include <strings.h>
#include <algorithm>
#include <cstring>
#include <optional>
#include <type_traits>
#include <vector>

namespace {

/// The parts of `text` between occurrences of any of `separators`.
std::vector<std::string_view> Split(std::string_view text, std::string_view separators) {
  std::vector<std::string_view> parts;
  for (;;) {
    const auto end = text.find_first_of(separators);
    parts.push_back(text.substr(0, end));
    if (end == std::string_view::npos) {
      return parts;
    }
    text.remove_prefix(end + 1);
  }
}

template <class Number>
std::optional<std::vector<Number>> ParseNumbers(std::string_view text, std::string_view separators) {
  std::vector<Number> numbers;
  for (const std::string_view part : Split(text, separators)) {
    const auto number = ParseNumber<Number>(part);
    if (!number) {
      return std::nullopt;
    }
    numbers.push_back(*number);
  }
  return numbers;
}

template <class Items, class Text>
std::string Join(const Items& items, std::string_view separator, Text text) {
  std::string joined;
  for (const auto& item : items) {
    joined.append(joined.empty() ? "" : separator).append(text(item));
  }
  return joined;
}

std::string BoolText(unsigned int value) { return value == 0 ? "false" : value == 1 ? "true" : NumberText(value); }

std::string RangeText(unsigned long long in, unsigned long long out, unsigned long long scale) {
  return NumberText(in) + '-' + NumberText(out) + '/' + NumberText(scale);
}

std::string ListText(const std::vector<unsigned int>& numbers) { return Join(numbers, ",", NumberText<unsigned int>); }

bool CountsFrames(ISetting& timeCode) { return std::strstr(timeCode.GetUnits(), "mmm") == nullptr; }

/// A time code in full: four whole numbers that its fields hold, a semicolon allowed in front of the last only.
std::optional<KelTimeCode> ParseTimeCode(std::string_view text, bool countsFrames) {
  const auto numbers = ParseNumbers<int>(text, ":;");
  const auto semicolon = text.find(';');
  if (!numbers || numbers->size() != 4 || semicolon < text.rfind(':')) {
    return std::nullopt;
  }
  const KelTimeCode code = KelStringToTimeCode(std::string(text), countsFrames);
  const std::vector<int> held{code.hours, code.minutes, code.seconds, countsFrames ? code.frames : code.milliseconds};
  return held == *numbers ? std::optional(code) : std::nullopt;
}

struct KindName {
  std::string_view operator()(IBoolSetting& /*setting*/) const { return "bool"; }
  std::string_view operator()(IEnumSetting& /*setting*/) const { return "enum"; }
  std::string_view operator()(IIntSetting& /*setting*/) const { return "int"; }
  std::string_view operator()(IUnsignedIntSetting& /*setting*/) const { return "unsigned"; }
  std::string_view operator()(IDoubleSetting& /*setting*/) const { return "double"; }
  std::string_view operator()(IFileSetting& /*setting*/) const { return "file"; }
  std::string_view operator()(ITimeInOutSetting& /*setting*/) const { return "time range"; }
  std::string_view operator()(IUnsignedIntArraySetting& /*setting*/) const { return "unsigned array"; }
  std::string_view operator()(IByteArraySetting& /*setting*/) const { return "bytes"; }
  std::string_view operator()(ITextSetting& /*setting*/) const { return "text"; }
  std::string_view operator()(ITimeCodeSetting& /*setting*/) const { return "time code"; }
  std::string_view operator()(ISettingArray& /*setting*/) const { return "group"; }
  std::string_view operator()(ISetting& /*setting*/) const { return "unknown"; }
};

struct Reader {
  std::string operator()(IBoolSetting& setting) const { return BoolText(setting.GetValue()); }
  template <class Number>
  std::string operator()(INumericSetting<Number>& setting) const {
    return NumberText(setting.GetValue());
  }
  std::string operator()(IEnumSetting& setting) const { return setting.GetValue(); }
  std::string operator()(IFileSetting& setting) const { return setting.GetValue(); }
  std::string operator()(ITextSetting& setting) const { return setting.GetValue(); }
  std::string operator()(ITimeCodeSetting& setting) const {
    return KelTimeCodeToString(setting.GetValue(), CountsFrames(setting));
  }
  std::string operator()(ITimeInOutSetting& setting) const {
    return RangeText(setting.GetTimeIn(), setting.GetTimeOut(), setting.GetTimeScale());
  }
  std::string operator()(IUnsignedIntArraySetting& setting) const {
    std::vector<unsigned int> numbers(setting.GetNumberOfValues());
    setting.GetValues(numbers.data(), static_cast<unsigned int>(numbers.size()));
    return ListText(numbers);
  }
  std::string operator()(IByteArraySetting& setting) const {
    return HexText({setting.GetData(), setting.GetDataSize()});
  }
  std::string operator()(ISetting& /*setting*/) const { return {}; }
};

/// Hands the value that `text` stands for to a setting and returns how it should read then; nothing when there is no
/// such value or it is not allowed.
struct Writer {
  std::string text;

  std::optional<std::string> operator()(IBoolSetting& setting) const {
    const auto value = text == "false" ? 0U : text == "true" ? 1U : ParseNumber<unsigned int>(text);
    if (!value) {
      return std::nullopt;
    }
    setting.SetValue(*value);
    return BoolText(*value);
  }
  template <class Number>
  std::optional<std::string> operator()(INumericSetting<Number>& setting) const {
    const auto value = ParseNumber<Number>(text);
    if (!value || !IsAllowed(setting, *value)) {
      return std::nullopt;
    }
    setting.SetValue(*value);
    return NumberText(*value);
  }
  std::optional<std::string> operator()(IEnumSetting& setting) const {
    for (const auto matches : {strcmp, strcasecmp}) {
      for (unsigned int index = 0; index < setting.GetNumberOfAllowableValues(); ++index) {
        const std::string entry = setting.GetAllowableValue(index);
        if (matches(text.c_str(), entry.c_str()) == 0) {
          setting.SetSelected(index);
          return entry;
        }
      }
    }
    return std::nullopt;
  }
  std::optional<std::string> operator()(IFileSetting& setting) const { return setting.SetValue(text.c_str()), text; }
  std::optional<std::string> operator()(ITextSetting& setting) const { return setting.SetValue(text.c_str()), text; }
  std::optional<std::string> operator()(ITimeCodeSetting& setting) const {
    const bool countsFrames = CountsFrames(setting);
    const auto value = ParseTimeCode(text, countsFrames);
    if (!value) {
      return std::nullopt;
    }
    setting.SetValue(*value);
    return KelTimeCodeToString(*value, countsFrames);
  }
  std::optional<std::string> operator()(ITimeInOutSetting& setting) const {
    const auto numbers = ParseNumbers<unsigned long long>(text, "-/");
    if (!numbers || numbers->size() != 3 || text.find('-') > text.find('/')) {
      return std::nullopt;
    }
    const auto in = (*numbers)[0];
    const auto out = (*numbers)[1];
    const auto scale = (*numbers)[2];
    setting.SetValue(scale, in, out);
    return RangeText(in, out, scale);
  }
  std::optional<std::string> operator()(IUnsignedIntArraySetting& setting) const {
    auto numbers = text.empty() ? std::vector<unsigned int>() : ParseNumbers<unsigned int>(text, ",");
    if (!numbers || numbers->size() != setting.GetNumberOfValues()) {
      return std::nullopt;
    }
    setting.SetValues(numbers->data(), static_cast<unsigned int>(numbers->size()));
    return ListText(*numbers);
  }
  std::optional<std::string> operator()(IByteArraySetting& setting) const {
    const auto bytes = ParseHex(text);
    if (!bytes) {
      return std::nullopt;
    }
    setting.SetData(bytes->data(), static_cast<unsigned int>(bytes->size()));
    return HexText(*bytes);
  }
  std::optional<std::string> operator()(ISetting& /*setting*/) const { return std::nullopt; }

 private:
  template <class Number>
  static bool IsAllowed(INumericSetting<Number>& setting, Number value) {
    if (setting.GetNumberOfAllowableValues() != 0) {
      return setting.FindIndexOf(value) >= 0;
    }
    const bool hasRange = setting.GetMinValue() < setting.GetMaxValue();
    return !hasRange || (value >= setting.GetMinValue() && value <= setting.GetMaxValue());
  }
};

/// "a, b and c"
std::string Enumerate(const std::vector<std::string>& texts) {
  std::string list;
  for (std::size_t index = 0; index < texts.size(); ++index) {
    list.append(index == 0 ? "" : index + 1 == texts.size() ? " and " : ", ").append(texts[index]);
  }
  return list;
}

struct Allowed {
  std::string operator()(IBoolSetting& /*setting*/) const { return "true and false"; }
  template <class Number>
  std::string operator()(INumericSetting<Number>& setting) const {
    std::vector<std::string> values;
    for (unsigned int index = 0; index < setting.GetNumberOfAllowableValues(); ++index) {
      values.push_back(NumberText(setting.GetAllowableValue(index)));
    }
    if (!values.empty()) {
      return Enumerate(values);
    }
    if (setting.GetMinValue() < setting.GetMaxValue()) {
      return NumberText(setting.GetMinValue()) + " to " + NumberText(setting.GetMaxValue());
    }
    return std::is_integral_v<Number> ? "whole numbers" : "numbers";
  }
  std::string operator()(IEnumSetting& setting) const {
    std::vector<std::string> values;
    for (unsigned int index = 0; index < setting.GetNumberOfAllowableValues(); ++index) {
      values.emplace_back(setting.GetAllowableValue(index));
    }
    return Enumerate(values);
  }
  std::string operator()(IFileSetting& /*setting*/) const { return "paths of at most 255 bytes"; }
  std::string operator()(ITextSetting& /*setting*/) const { return "texts"; }
  std::string operator()(ITimeCodeSetting& setting) const { return std::string("time codes ") + setting.GetUnits(); }
  std::string operator()(ITimeInOutSetting& /*setting*/) const { return "time ranges IN-OUT/SCALE"; }
  std::string operator()(IUnsignedIntArraySetting& setting) const {
    return "lists of " + NumberText(setting.GetNumberOfValues()) + " whole numbers";
  }
  std::string operator()(IByteArraySetting& /*setting*/) const { return "pairs of hexadecimal digits"; }
  std::string operator()(ISetting& /*setting*/) const { return "no values"; }
};

}  // namespace

std::string_view SettingKind(ISetting& setting) { return VisitSetting(setting, KindName()); }

std::string ValueText(ISetting& setting) { return VisitSetting(setting, Reader()); }

void SetValueText(ISetting& setting, std::string_view text) {
  const std::string before = ValueText(setting);
  const auto expected = VisitSetting(setting, Writer{std::string(text)});
  if (!expected || ValueText(setting) != *expected) {
    VisitSetting(setting, Writer{before});
    throw WrongUse(Refusal(setting, text));
  }
}

std::string Refusal(ISetting& setting, std::string_view value) {
  const std::string_view label = setting.GetLabel();
  return std::string(label.empty() ? SettingKind(setting) : label) + ": allowed are " +
         VisitSetting(setting, Allowed()) + ", not " + (value.empty() ? "nothing" : std::string(value));
}
