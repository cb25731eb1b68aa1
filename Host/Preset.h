#pragma once

/// Presets: the values of a compressor's settings in a JSON file, keyed by the names of SettingTree.h. docs/presets.md
/// describes the file.

#include "Host/SettingTree.h"

#include <string>
#include <vector>

class IAudioCompressor;

/// Writes all values to `path`, whole or not at all; an existing file is replaced only if `replaceExisting`. Throws
/// Failure.
void SavePreset(const std::string& path, IAudioCompressor& compressor, bool replaceExisting);

/// What the file asks for; settings that it does not name stay as they are. Throws Failure when it cannot be read or is
/// no preset, WrongUse when it is of another compressor or names a setting that there is none of. Whatever the
/// assignments throw later names file and key.
std::vector<Assignment> ReadPreset(const std::string& path, IAudioCompressor& compressor);
