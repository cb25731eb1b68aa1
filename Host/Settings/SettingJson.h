#pragma once

/// Values of settings as JSON, in which presets file them and `rhohost info --json` shows them: numbers and booleans as
/// such, an unsigned array as an array of numbers, everything else as the string that SettingText.h describes. A number
/// that JSON has no form for (inf, nan) is a string; a text that is not UTF-8 is {"hex": "..."}, its bytes in
/// hexadecimal.

#include <nlohmann/json_fwd.hpp>
#include <string>

class ISetting;

/// The value; null for a container, and for an optional setting whose value is not specified.
nlohmann::ordered_json ValueJson(ISetting& setting);

/// Makes `value` the setting's, or leaves the setting as it was and throws WrongUse that says what is wrong with it:
/// the wrong kind of JSON, or what SetValueText does not take. Null makes an optional setting unspecified; any other
/// value makes it specified.
void SetValueJson(ISetting& setting, const nlohmann::ordered_json& value);

/// The same from the command line: an empty text makes an optional setting unspecified, and a setting that is not
/// active takes nothing.
void SetValueOrUnspecify(ISetting& setting, const std::string& text);

/// A four-character code as people write it, "LPCM"; in hexadecimal where it has other than printable characters.
std::string CodeText(unsigned int code);
