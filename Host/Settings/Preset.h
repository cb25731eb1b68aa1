#pragma once

/// Presets: chosen values of a compressor's settings in a JSON file, by the names of SettingTree.h. docs/presets.md
/// describes the file.

#include "Host/Settings/Assignment.h"

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

class IAudioCompressor;

/// The choices of a user, as opposed to defaults and to values that follow from an input.
struct Choices {
  std::vector<const ISetting*> settings{};  ///< of one compressor
  std::optional<double> framesPerSecond{};  ///< the frame-rate hint, which no setting holds
  bool nearestRate = false;                 ///< the sample rate follows from the source's: the nearest that is allowed

  bool Contains(const ISetting* setting) const;
};

/// The text of a preset with the values that the chosen settings have; empty if there would be none in it. Fixed
/// settings (IsFixed) are left out: their values follow from others.
std::string PresetText(IAudioCompressor& compressor, const Choices& choices);

/// A preset file in memory, good for any number of compressors and threads.
class Preset {
 public:
  /// Reads a regular file or a pipe, at most 64 KiB. Throws Failure if it cannot be read or is not a preset.
  explicit Preset(const std::string& path);

  /// The assignments for `compressor`; settings that the preset does not name keep their values. Throws WrongUse if the
  /// preset is of another compressor, names a setting that does not exist, or has a value of the wrong kind; all
  /// messages name file and key.
  std::vector<Assignment> AssignmentsFor(IAudioCompressor& compressor, const std::vector<NamedSetting>& settings) const;

  /// The frame rate that the preset holds, 1 or more.
  const std::optional<double>& FramesPerSecond() const { return m_framesPerSecond; }

 private:
  std::string m_path;
  std::shared_ptr<const nlohmann::ordered_json> m_content;
  std::optional<double> m_framesPerSecond;
};
