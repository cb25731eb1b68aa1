#include "Host/Settings/SettingJson.h"

#include "Host/Settings/SettingText.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Hexadecimal.h"
#include "Host/Text/Utf8.h"
#include "RHOAPI/RhoapiSettingsInterface.h"
#include "Toolbox/KelUtils/Media/ChannelModes.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

namespace {

bool IsNumeric(unsigned int type) {
  return type == kSettingTypeInt || type == kSettingTypeUnsignedInt || type == kSettingTypeDouble;
}

/// The text that `value` stands for; throws WrongUse when it is not of the kind that the setting needs.
std::string TextOf(ISetting& setting, const Json& value) {
  const unsigned int type = setting.GetType();
  const bool isList = type == kSettingTypeUnsignedIntArray;
  if (type == kSettingTypeBool ? value.is_boolean() || value.is_number() : IsNumeric(type) && value.is_number()) {
    return value.dump();
  }
  if (isList && value.is_array() &&
      std::all_of(value.begin(), value.end(), [](const Json& item) { return item.is_number(); })) {
    const std::string list = value.dump();
    return list.substr(1, list.size() - 2);
  }
  const bool isTextual = type != kSettingTypeBool && !isList && !IsNumeric(type);
  if (value.is_string() && (isTextual || (type == kSettingTypeDouble && !Json::accept(value.get<std::string>())))) {
    return value.get<std::string>();
  }
  if (isTextual && value.is_object() && value.size() == 1 && value.contains("hex") && value["hex"].is_string()) {
    if (const auto bytes = ParseHex(value["hex"].get<std::string>())) {
      return {bytes->begin(), bytes->end()};
    }
  }
  throw WrongUse(Refusal(setting, value.dump()));
}

}  // namespace

Json ValueJson(ISetting& setting) {
  const unsigned int type = setting.GetType();
  const bool isUnspecified = setting.GetIsOptional() != 0 && setting.GetIsOptionalValueSpecified() == 0;
  if (isUnspecified || type == kSettingTypeArray) {
    return nullptr;
  }
  const std::string text = ValueText(setting);
  if (type == kSettingTypeUnsignedIntArray) {
    return Json::parse('[' + text + ']');
  }
  if (text == "-0" && type == kSettingTypeDouble) {
    return -0.0;  // as "-0" it would be read as a whole number, which has no such zero
  }
  if (type == kSettingTypeBool || (IsNumeric(type) && Json::accept(text))) {
    return Json::parse(text);
  }
  return IsUtf8(text) ? Json(text)
                      : Json{{"hex", HexText({reinterpret_cast<const unsigned char*>(text.data()), text.size()})}};
}

void SetValueJson(ISetting& setting, const Json& value) {
  const bool isOptional = setting.GetIsOptional() != 0;
  if (!value.is_null() || !isOptional) {
    SetValueText(setting, TextOf(setting, value));
  }
  if (isOptional) {
    setting.SetIsOptionalValueSpecified(value.is_null() ? 0 : 1);
  }
}

void SetValueOrUnspecify(ISetting& setting, const std::string& text) {
  if (setting.GetIsActive() == 0) {
    throw WrongUse(std::string(setting.GetLabel()) + ": not active, so that " + text + " would have no effect");
  }
  const bool isOptional = setting.GetIsOptional() != 0;
  const bool unspecify = isOptional && text.empty();
  if (!unspecify) {
    SetValueText(setting, text);
  }
  if (isOptional) {
    setting.SetIsOptionalValueSpecified(unspecify ? 0 : 1);
  }
}

std::string CodeText(unsigned int code) {
  std::array<char, 9> text{};
  KelGetManufactureCodecEightCCString(text.data(), code, 0);
  if (std::all_of(text.begin(), text.begin() + 4,
                  [](char character) { return character >= ' ' && character <= '~'; })) {
    return text.data();
  }
  std::snprintf(text.data(), text.size(), "%08X", code);
  return std::string("0x") + text.data();
}
