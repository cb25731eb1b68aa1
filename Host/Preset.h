#pragma once

/// Presets: the values of a compressor's settings in a JSON file, keyed by the names of SettingTree.h. docs/presets.md
/// describes the file.

#include <string>

class IAudioCompressor;

/// Writes all values to `path`, whole or not at all; an existing file is replaced only if `replaceExisting`. Throws
/// Failure.
void SavePreset(const std::string& path, IAudioCompressor& compressor, bool replaceExisting);

/// Brings the compressor's settings to what the file says; those that it does not name stay. Throws Failure that names
/// file and key when it cannot be read, is of another compressor, names a setting that there is none of, or gives one a
/// value that it does not take; some settings may have changed then.
void LoadPreset(const std::string& path, IAudioCompressor& compressor);
