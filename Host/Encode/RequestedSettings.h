#pragma once

#include "Host/Encode/FormatChoice.h"
#include "Host/Settings/Preset.h"

#include <optional>
#include <string>
#include <vector>

class IAudioCompressor;

/// What a user asks of a compressor's settings: a preset, assignments and a format, read once for any number of
/// compressors and threads.
class RequestedSettings {
 public:
  /// `assignments` are texts such as "SampleRate=48000"; `preset` is a file, or empty for none. Throws Failure when the
  /// preset cannot be read.
  RequestedSettings(RequestedFormat format, std::vector<std::string> assignments, const std::string& preset);

  /// Applies the preset, then the assignments, and returns the format that this requests: `format` as given, completed
  /// by what was assigned. Throws WrongUse when a setting refuses its value.
  RequestedFormat ApplyTo(IAudioCompressor& compressor) const;

 private:
  RequestedFormat m_format;
  std::vector<std::string> m_assignments;
  std::optional<Preset> m_preset;
};
