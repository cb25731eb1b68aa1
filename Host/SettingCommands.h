#pragma once

/// What the program does with settings: bring them to what the command line asks for, show them, file them.

#include "Host/Options.h"

class IAudioCompressor;

/// Brings the compressor's settings to what the preset and the assignments of `options` ask for, in this order, and
/// returns the wishes for the format that follow: those of the options, else what was just assigned. Throws WrongUse
/// when a setting does not take its value, Failure when the preset cannot be read.
FormatWishes ApplySettings(const Options& options, IAudioCompressor& compressor);

/// Throws Failure when the settings are to go where something else is: over the input, into the output, or over an
/// existing file without being told to.
void CheckPresetTarget(const Options& options);

/// Prints what the module and its settings are.
void ShowInfo(const Options& options);

/// Files the settings in a preset, without encoding anything; with a dry run, says where they would go.
void MakePreset(const Options& options);
