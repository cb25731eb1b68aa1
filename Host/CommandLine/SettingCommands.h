#pragma once

/// What the program does with settings: show them, and save them in a preset.

#include "Host/CommandLine/Options.h"

/// Throws Failure when the preset to be saved would overwrite the input, the output, or an existing file without
/// --force.
void CheckPresetTarget(const Options& options);

/// Throws WrongUse or Failure for settings that the module takes for no file at all.
void CheckSettings(const EncodingSetup& setup);

/// The text of a preset with what has been chosen for the compressor. Throws WrongUse if that is nothing.
std::string TextToSave(IAudioCompressor& compressor, const Choices& choices);

/// Writes it to the file that --save-preset names. Throws Failure.
void SavePreset(const Options& options, const std::string& text);

/// Prints all modules that are found.
void ShowModules(const Options& options);

/// Prints what the module and its settings are.
void ShowInfo(const Options& options);

/// Saves the chosen settings in a preset, without encoding anything; a dry run prints where they would be saved.
void MakePreset(const Options& options);
