#pragma once

/// What the program does with settings: bring them to what the command line asks for, show them, file them.

#include "Host/Options.h"
#include "Host/Preset.h"

#include <optional>
#include <string>
#include <vector>

class IAudioCompressor;

/// What the command line asks of the settings, read once, for any number of compressors and threads.
class SettingWishes {
 public:
  /// Reads the preset that `options` name. Throws Failure when it cannot be read.
  explicit SettingWishes(const Options& options);

  /// Brings the compressor's settings to what the preset and the assignments ask for, in this order, and returns the
  /// wishes for the format that follow: those of the options, else what was just assigned. Throws WrongUse when a
  /// setting does not take its value.
  FormatWishes ApplyTo(IAudioCompressor& compressor) const;

 private:
  FormatWishes m_format;
  std::vector<std::string> m_assignments;
  std::optional<Preset> m_preset;
};

/// Throws Failure when the settings are to go where something else is: over the input, into the output, or over an
/// existing file without being told to.
void CheckPresetTarget(const Options& options);

/// Prints what the module and its settings are.
void ShowInfo(const Options& options);

/// Files the settings in a preset, without encoding anything; with a dry run, says where they would go.
void MakePreset(const Options& options);
