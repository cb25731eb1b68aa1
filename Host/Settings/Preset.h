#pragma once

/// Presets: the values of a compressor's settings in a JSON file, keyed by the names of SettingTree.h. docs/presets.md
/// describes the file.

#include "Host/Settings/SettingTree.h"

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

class IAudioCompressor;

/// Writes all values to `path`, whole or not at all; an existing file is replaced only if `replaceExisting`. Throws
/// Failure.
void SavePreset(const std::string& path, IAudioCompressor& compressor, bool replaceExisting);

/// A preset file as it was read, good for any number of compressors and threads.
class Preset {
 public:
  /// Throws Failure when the file cannot be read or is no preset.
  explicit Preset(const std::string& path);

  /// What it asks of `compressor`; settings that it does not name stay as they are. Throws WrongUse when it is of
  /// another compressor or names a setting that there is none of. Whatever the assignments throw later names file and
  /// key.
  std::vector<Assignment> AssignmentsFor(IAudioCompressor& compressor) const;

 private:
  std::string m_path;
  std::shared_ptr<const nlohmann::ordered_json> m_content;
};
