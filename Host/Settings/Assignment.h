#pragma once

/// Sets several settings at once, in the order that their dependencies require.

#include "Host/Settings/SettingTree.h"
#include "Host/Settings/SettingValue.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

class IAudioCompressor;

/// A value for one setting.
struct Assignment {
  ISetting* setting = nullptr;
  std::optional<SettingValue> value{};  ///< nothing: the optional setting becomes unspecified

  /// Whether the value comes from a preset: it is ignored where the setting is fixed, and may be for an inactive
  /// setting.
  bool isFromPreset = false;

  /// Parts of the message if the setting refuses the value: SOURCE + "Sample Rate: allowed are 8000 and 16000, not
  /// 12000" + UNIT + ": " + SUGGESTION + "16000". Without a suggestion the message ends behind the unit.
  std::string source{};
  std::string unit{};
  std::string suggestion{};
};

/// Whether the setting has no choice: it has one allowable value only, which follows from other settings (a data
/// rate), and is not optional.
bool IsFixed(ISetting& setting);

/// The assignment that `text` asks for, as in "SampleRate=48000"; an empty value makes an optional setting unspecified.
/// Throws WrongUse if there is no such setting or the text is not a value of its kind.
Assignment ParseAssignment(const std::vector<NamedSetting>& settings, std::string_view text);

/// Carries out the assignments, the last one of several for the same setting. What a setting refuses is tried again
/// after ValidateSettings has brought the others into effect, as long as that helps. Throws WrongUse for the first
/// value that is still refused then, for a value that an inactive setting was given, and for one that another
/// assignment has changed; all these settings then have their previous values again, as far as they take them.
void Assign(IAudioCompressor& compressor, const std::vector<Assignment>& assignments);
