#include "Host/Settings/SettingText.h"

#include "Host/Settings/SettingKinds.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Hexadecimal.h"
#include "Host/Text/Numbers.h"
#include "Host/Text/Utf8.h"
#include "Toolbox/KelUtils/Media/TimeCodes.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

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

/// The numbers between the separators; nothing if a part is not a number.
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

/// Whether the time code counts frames rather than milliseconds. Only the units say so: "hh:mm:ss:mmm".
bool CountsFrames(ISetting& timeCode) { return std::strstr(timeCode.GetUnits(), "mmm") == nullptr; }

/// The time code for a text of four whole numbers, with a semicolon before the last one at most; nothing for any other
/// text, and for numbers that the fields cannot hold.
std::optional<KelTimeCode> ParseTimeCode(std::string_view text, bool countsFrames) {
  const auto numbers = ParseNumbers<int>(text, ":;");
  const auto semicolon = text.find(';');
  if (!numbers || numbers->size() != 4 || semicolon < text.rfind(':')) {
    return std::nullopt;
  }
  // KelStringToTimeCode accepts every text and reduces numbers to the bits of their fields, hence the comparison.
  const KelTimeCode code = KelStringToTimeCode(std::string(text), countsFrames);
  const std::vector<int> held{code.hours, code.minutes, code.seconds, countsFrames ? code.frames : code.milliseconds};
  return held == *numbers ? std::optional(code) : std::nullopt;
}

/// The name of the kind, as SettingKind returns it.
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
  std::string_view operator()(const UnknownSetting& /*setting*/) const { return "unknown"; }
};

/// The value as text. The flags say what the type of the value does not.
struct Formatter {
  bool isBool = false;
  bool countsFrames = false;

  std::string operator()(std::monostate /*none*/) const { return {}; }
  std::string operator()(unsigned int value) const {
    return isBool && value <= 1 ? (value == 0 ? "false" : "true") : NumberText(value);
  }
  std::string operator()(int value) const { return NumberText(value); }
  std::string operator()(double value) const { return NumberText(value); }
  std::string operator()(const std::string& value) const { return value; }
  std::string operator()(const KelTimeCode& value) const { return KelTimeCodeToString(value, countsFrames); }
  std::string operator()(const TimeRange& value) const {
    return fmt::format("{}-{}/{}", value.in, value.out, value.scale);
  }
  std::string operator()(const std::vector<unsigned int>& value) const {
    return fmt::format("{}", fmt::join(value, ","));
  }
  std::string operator()(const std::vector<unsigned char>& value) const { return HexText(value); }
};

/// The value that `text` stands for, for a setting of each kind; nothing if it is not of that kind.
struct Parser {
  std::string_view text;

  std::optional<SettingValue> operator()(IBoolSetting& /*setting*/) const {
    return text == "false" ? Found(std::optional(0U)) : text == "true" ? Found(std::optional(1U)) : Number<unsigned>();
  }
  template <class Type>
  std::optional<SettingValue> operator()(INumericSetting<Type>& /*setting*/) const {
    return Number<Type>();
  }
  template <OneOf<IEnumSetting, IFileSetting, ITextSetting> Setting>
  std::optional<SettingValue> operator()(Setting& /*setting*/) const {
    return std::string(text);
  }
  std::optional<SettingValue> operator()(ITimeCodeSetting& setting) const {
    return Found(ParseTimeCode(text, CountsFrames(setting)));
  }
  std::optional<SettingValue> operator()(ITimeInOutSetting& /*setting*/) const {
    const auto numbers = ParseNumbers<unsigned long long>(text, "-/");
    if (!numbers || numbers->size() != 3 || text.find('-') > text.find('/')) {
      return std::nullopt;
    }
    return TimeRange{(*numbers)[0], (*numbers)[1], (*numbers)[2]};
  }
  std::optional<SettingValue> operator()(IUnsignedIntArraySetting& /*setting*/) const {
    return text.empty() ? std::vector<unsigned int>() : Found(ParseNumbers<unsigned int>(text, ","));
  }
  std::optional<SettingValue> operator()(IByteArraySetting& /*setting*/) const { return Found(ParseHex(text)); }
  std::optional<SettingValue> operator()(ISettingArray& /*setting*/) const { return std::nullopt; }
  std::optional<SettingValue> operator()(const UnknownSetting& /*setting*/) const { return std::nullopt; }

 private:
  template <class Type>
  static std::optional<SettingValue> Found(const std::optional<Type>& value) {
    return value ? std::optional<SettingValue>(*value) : std::nullopt;
  }
  template <class Type>
  std::optional<SettingValue> Number() const {
    return Found(ParseNumber<Type>(text));
  }
};

/// "a, b and c". A list of more than 40 entries is shortened to the first and the last 20.
template <class TextAt>
std::string Enumerate(unsigned int count, TextAt textAt) {
  constexpr unsigned int kMost = 40;
  std::string list;
  for (unsigned int index = 0; index < count; ++index) {
    if (count > kMost && index == kMost / 2) {
      list += ", ...";
      index = count - kMost / 2;
    }
    list.append(index == 0 ? "" : index + 1 == count ? " and " : ", ").append(textAt(index));
  }
  return list;
}

/// What the setting allows, in words that follow "allowed are".
struct Allowed {
  std::string operator()(IBoolSetting& /*setting*/) const { return "true and false"; }
  template <class Number>
  std::string operator()(INumericSetting<Number>& setting) const {
    if (const unsigned int count = setting.GetNumberOfAllowableValues(); count != 0) {
      return Enumerate(count, [&setting](unsigned int index) { return NumberText(setting.GetAllowableValue(index)); });
    }
    if (setting.GetMinValue() < setting.GetMaxValue()) {
      return NumberText(setting.GetMinValue()) + " to " + NumberText(setting.GetMaxValue());
    }
    return std::is_integral_v<Number> ? "whole numbers" : "numbers";
  }
  std::string operator()(IEnumSetting& setting) const {
    return Enumerate(setting.GetNumberOfAllowableValues(),
                     [&setting](unsigned int index) { return setting.GetAllowableValue(index); });
  }
  // IFileSetting stores the first 255 characters.
  std::string operator()(IFileSetting& /*setting*/) const { return "paths of at most 255 bytes"; }
  std::string operator()(ITextSetting& /*setting*/) const { return "texts"; }
  std::string operator()(ITimeCodeSetting& setting) const { return fmt::format("time codes {}", setting.GetUnits()); }
  std::string operator()(ITimeInOutSetting& /*setting*/) const { return "time ranges IN-OUT/SCALE"; }
  std::string operator()(IUnsignedIntArraySetting& setting) const {
    return fmt::format("lists of {} whole numbers", setting.GetNumberOfValues());
  }
  std::string operator()(IByteArraySetting& /*setting*/) const { return "pairs of hexadecimal digits"; }
  std::string operator()(ISettingArray& /*setting*/) const { return "no values"; }
  std::string operator()(const UnknownSetting& /*setting*/) const { return "no values"; }
};

}  // namespace

std::string_view SettingKind(ISetting& setting) { return VisitSetting(setting, KindName()); }

std::string ValueText(ISetting& setting, const SettingValue& value) {
  const unsigned int type = setting.GetType();
  return std::visit(Formatter{type == kSettingTypeBool, type == kSettingTypeTimeCode && CountsFrames(setting)}, value);
}

std::string ValueText(ISetting& setting) { return ValueText(setting, GetValue(setting)); }

std::optional<SettingValue> ParseValue(ISetting& setting, std::string_view text) {
  return VisitSetting(setting, Parser{text});
}

void SetValueText(ISetting& setting, std::string_view text) {
  const std::optional<SettingValue> value = ParseValue(setting, text);
  if (!value) {
    throw WrongUse(Refusal(setting, text));
  }
  SetValue(setting, *value);
}

std::string Refusal(ISetting& setting, std::string_view value) {
  const std::string_view label = setting.GetLabel();
  return fmt::format("{}: allowed are {}, not {}", label.empty() ? SettingKind(setting) : label,
                     VisitSetting(setting, Allowed()), value.empty() ? "nothing" : Abbreviated(value));
}
