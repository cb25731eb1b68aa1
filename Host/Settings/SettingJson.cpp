#include "Host/Settings/SettingJson.h"

#include "Host/Settings/SettingKinds.h"
#include "Host/Settings/SettingText.h"
#include "Host/Text/Hexadecimal.h"
#include "Host/Text/Utf8.h"

#include <cmath>
#include <nlohmann/json.hpp>
#include <utility>

using Json = nlohmann::ordered_json;

namespace {

/// The value of a setting as JSON.
struct Writer {
  Json operator()(IBoolSetting& setting) const {
    const unsigned int value = setting.GetValue();
    return value <= 1 ? Json(value == 1) : Json(value);
  }
  template <class Number>
  Json operator()(INumericSetting<Number>& setting) const {
    const Number value = setting.GetValue();
    // JSON has no infinity and no NaN.
    return std::isfinite(static_cast<double>(value)) ? Json(value) : Json(ValueText(setting));
  }
  Json operator()(IUnsignedIntArraySetting& setting) const {
    return std::get<std::vector<unsigned int>>(GetValue(setting));
  }
  template <
      OneOf<IEnumSetting, IFileSetting, ITextSetting, ITimeCodeSetting, ITimeInOutSetting, IByteArraySetting> Setting>
  Json operator()(Setting& setting) const {
    return TextJson(ValueText(setting));
  }
  Json operator()(ISettingArray& /*setting*/) const { return nullptr; }
  Json operator()(const UnknownSetting& /*setting*/) const { return nullptr; }
};

/// A whole number that `Number` can hold.
template <class Number>
std::optional<SettingValue> ParseWhole(const Json& json) {
  const bool fits = json.is_number_unsigned()  ? std::in_range<Number>(json.get<std::uint64_t>())
                    : json.is_number_integer() ? std::in_range<Number>(json.get<std::int64_t>())
                                               : false;
  return fits ? std::optional<SettingValue>(json.get<Number>()) : std::nullopt;
}

/// The value that `json` stands for, for a setting of each kind; nothing if it is of another kind.
struct Parser {
  const Json& json;

  std::optional<SettingValue> operator()(IBoolSetting& /*setting*/) const {
    return json.is_boolean() ? SettingValue(json.get<bool>() ? 1U : 0U) : ParseWhole<unsigned int>(json);
  }
  template <OneOf<IIntSetting, IUnsignedIntSetting> Setting>
  std::optional<SettingValue> operator()(Setting& setting) const {
    return ParseWhole<decltype(setting.GetValue())>(json);
  }
  std::optional<SettingValue> operator()(IDoubleSetting& setting) const {
    if (json.is_number()) {
      return json.get<double>();
    }
    const auto value = json.is_string() ? ParseValue(setting, json.get<std::string>()) : std::nullopt;
    // Of texts only "inf", "-inf" and "nan": other numbers are numbers in JSON.
    return value && !std::isfinite(std::get<double>(*value)) ? value : std::nullopt;
  }
  std::optional<SettingValue> operator()(IUnsignedIntArraySetting& /*setting*/) const {
    std::vector<unsigned int> numbers;
    // Any other JSON becomes an array with null, which fails below.
    for (const Json& item : json.is_array() ? json : Json::array({nullptr})) {
      const auto number = ParseWhole<unsigned int>(item);
      if (!number) {
        return std::nullopt;
      }
      numbers.push_back(std::get<unsigned int>(*number));
    }
    return numbers;
  }
  template <
      OneOf<IEnumSetting, IFileSetting, ITextSetting, ITimeCodeSetting, ITimeInOutSetting, IByteArraySetting> Setting>
  std::optional<SettingValue> operator()(Setting& setting) const {
    const std::optional<std::string> text = Text();
    return text ? ParseValue(setting, *text) : std::nullopt;
  }
  std::optional<SettingValue> operator()(ISettingArray& /*setting*/) const { return std::nullopt; }
  std::optional<SettingValue> operator()(const UnknownSetting& /*setting*/) const { return std::nullopt; }

 private:
  /// The text that `json` stands for, directly or as {"hex": ...}.
  std::optional<std::string> Text() const {
    if (json.is_string()) {
      return json.get<std::string>();
    }
    const bool isHex = json.is_object() && json.size() == 1 && json.contains("hex") && json["hex"].is_string();
    const auto bytes = isHex ? ParseHex(json["hex"].get<std::string>()) : std::nullopt;
    return bytes ? std::optional(std::string(bytes->begin(), bytes->end())) : std::nullopt;
  }
};

}  // namespace

Json TextJson(const std::string& text) {
  return IsUtf8(text) ? Json(text)
                      : Json{{"hex", HexText({reinterpret_cast<const unsigned char*>(text.data()), text.size()})}};
}

Json ValueJson(ISetting& setting) {
  const bool isUnspecified = setting.GetIsOptional() != 0 && setting.GetIsOptionalValueSpecified() == 0;
  return isUnspecified ? Json() : VisitSetting(setting, Writer());
}

std::optional<SettingValue> ParseJsonValue(ISetting& setting, const Json& json) {
  return VisitSetting(setting, Parser{json});
}
