#pragma once

/// Shows modules and their settings, and saves settings in presets.

#include "Host/CommandLine/Options.h"

/// Throws Failure when the preset to be saved would overwrite the input, the output, or an existing file without
/// --force.
void CheckPresetTarget(const Options& options);

/// Throws WrongUse or Failure for settings with which the module cannot encode any file.
void CheckSettings(const EncodingSetup& setup);

/// The text of a preset with the settings chosen for the compressor. Throws WrongUse if none is chosen.
std::string TextToSave(IAudioCompressor& compressor, const Choices& choices);

/// Writes it to the file that --save-preset names. Throws Failure.
void SavePreset(const Options& options, const std::string& text);

/// Prints all modules that are found.
void ShowModules(const Options& options);

/// Prints what the module and its settings are.
void ShowInfo(const Options& options);

/// Saves the chosen settings in a preset, without encoding anything; a dry run prints where they would be saved.
void MakePreset(const Options& options);
