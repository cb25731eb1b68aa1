#pragma once

/// Values of settings as text: what people read in `rhohost info` and write behind `--set`, and what presets file.
/// Setting a value to its own text changes nothing, whatever the kind:
///
///   kind             text
///   bool             true, false; any other number as itself
///   int, unsigned    decimal
///   double           the shortest decimal that reads back as the same number; inf, -inf, nan
///   enum             the selected entry
///   text, file       the value itself
///   time code        1:02:03:004 or 1:02:03:04 or 1:02:03;04, as its units say
///   time range       IN-OUT/SCALE
///   unsigned array   decimals with commas between them
///   bytes            two hexadecimal digits a byte
///
/// A container has no value.

#include <string>
#include <string_view>

class ISetting;

/// Name of the setting's kind, as above; "group" for a container, "unknown" for a type code that this host does not
/// know.
std::string_view SettingKind(ISetting& setting);

/// The value as text; empty for a container and an unknown kind. Whether an optional value is specified is not looked
/// at.
std::string ValueText(ISetting& setting);

/// Makes the value that `text` stands for the setting's, or leaves the setting as it was and throws WrongUse, which
/// names label, value and what is allowed. A value is taken only when it is among the allowable ones, if there are any,
/// or in the range, if there is one (a minimum below the maximum), and when reading it back shows that the setting has
/// it. Entries of an enum are also found by other letter case.
void SetValueText(ISetting& setting, std::string_view text);

/// The words for a value that a setting does not take: "Sample Size: allowed are 16 and 24, not 20".
std::string Refusal(ISetting& setting, std::string_view value);
