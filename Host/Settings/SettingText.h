#pragma once

/// Values of settings as text, which `rhohost info` shows, `--set` takes and presets file. Setting a value to its own
/// text changes nothing:
///
///   kind             text
///   bool             true, false; any other number in decimal
///   int, unsigned    decimal
///   double           the shortest decimal that reads back as the same number; inf, -inf, nan
///   enum             the selected entry
///   text, file       the value itself
///   time code        1:02:03:004 or 1:02:03:04 or 1:02:03;04, as the units say
///   time range       IN-OUT/SCALE
///   unsigned array   decimals, separated by commas
///   bytes            two hexadecimal digits a byte
///   group, unknown   empty: no value

#include "Host/Settings/SettingValue.h"

#include <optional>
#include <string>
#include <string_view>

/// Name of the setting's kind, as above; "group" for a container, "unknown" for a type code that this host does not
/// know.
std::string_view SettingKind(ISetting& setting);

/// `value` as text, for a setting of this kind; a value of a type that the setting does not take in a form of its own.
std::string ValueText(ISetting& setting, const SettingValue& value);

/// The setting's value as text. Whether an optional value is specified makes no difference.
std::string ValueText(ISetting& setting);

/// The value that `text` stands for; nothing if it is not a value of the setting's kind. IsAllowed and SetValue
/// decide whether the setting allows the value.
std::optional<SettingValue> ParseValue(ISetting& setting, std::string_view text);

/// SetValue with the value that `text` stands for; also throws WrongUse if there is none.
void SetValueText(ISetting& setting, std::string_view text);

/// The message for a value that a setting does not take: "Sample Size: allowed are 16 and 24, not 20". A list and a
/// value that are too long to read are shortened.
std::string Refusal(ISetting& setting, std::string_view value);
