#pragma once

/// Values of settings as JSON, in which presets file them and `rhohost info --json` shows them:
///
///   kind             JSON
///   bool             true, false; any other number as a number
///   int, unsigned    whole number
///   double           number; "inf", "-inf" and "nan", for which JSON has no numbers
///   unsigned array   array of whole numbers
///   group, unknown   null
///   all others       the text that SettingText.h describes, as TextJson gives it

#include "Host/Settings/SettingValue.h"

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

/// A text of any bytes: a string, or {"hex": "436166e9"} with its bytes if it is not UTF-8, which JSON requires.
nlohmann::ordered_json TextJson(const std::string& text);

/// The setting's value; null for an optional setting that is not specified.
nlohmann::ordered_json ValueJson(ISetting& setting);

/// The value that `json` stands for; nothing for null and if it is not a value of the setting's kind.
std::optional<SettingValue> ParseJsonValue(ISetting& setting, const nlohmann::ordered_json& json);
