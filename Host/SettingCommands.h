#pragma once

/// What the program does with settings: bring them to what the command line asks for, show them, file them.

#include "Host/Options.h"

class IAudioCompressor;

/// Brings the compressor's settings to what the preset and the assignments of `options` ask for, in this order, and
/// returns the wishes for the format that follow: those of the options, else what was just assigned. Throws WrongUse
/// when a setting does not take its value, Failure when the preset cannot be read.
FormatWishes ApplySettings(const Options& options, IAudioCompressor& compressor);

/// Prints what the module and its settings are.
void ShowInfo(const Options& options);

/// Files the settings in a preset, without encoding anything.
void MakePreset(const Options& options);
