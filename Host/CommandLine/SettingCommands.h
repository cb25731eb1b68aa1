#pragma once

/// What the program does with settings: show them, and save them in a preset.

#include "Host/CommandLine/Options.h"

/// Throws Failure when the settings are to go where something else is: over the input, into the output, or over an
/// existing file without being told to.
void CheckPresetTarget(const Options& options);

/// Prints what the module and its settings are.
void ShowInfo(const Options& options);

/// Files the settings in a preset, without encoding anything; with a dry run, says where they would go.
void MakePreset(const Options& options);
