#pragma once

#include "Host/Encode/EncodingFormat.h"
#include "Host/Settings/Preset.h"

#include <optional>
#include <string>
#include <vector>

/// The format that a user asks for; empty where the choice is left to ChooseFormat.
struct RequestedFormat {
  std::optional<unsigned int> sampleRate;
  std::optional<unsigned int> bits;
  std::optional<std::string> layout;  ///< name of a channel layout, as in "5.1"
};

/// Everything that a user can ask of a compressor.
struct SettingRequest {
  std::string preset;                     ///< path of a preset; empty for none
  std::vector<std::string> assignments;   ///< "SampleRate=48000"
  RequestedFormat format;                 ///< outranks the assignments, which outrank the preset
  bool nearestRate = false;               ///< outranks all but `format`: the allowed rate nearest to the source's
  std::optional<double> framesPerSecond;  ///< outranks the preset; at least 1
  SuggestionPrefixes suggestions;         ///< for messages
};

/// A request that is read once, for any number of compressors and threads.
class RequestedSettings {
 public:
  /// Throws Failure if the preset cannot be read.
  explicit RequestedSettings(SettingRequest request);

  /// Applies the request to a compressor and returns what it has chosen. Throws WrongUse for a setting that does not
  /// exist or does not allow its value.
  Choices ApplyTo(IAudioCompressor& compressor) const;

  /// Packets per second: as requested, or as in the preset, or 30.
  double FramesPerSecond() const;

  const SuggestionPrefixes& Suggestions() const { return m_request.suggestions; }

 private:
  SettingRequest m_request;
  std::optional<Preset> m_preset;
  std::optional<double> m_framesPerSecond;
};
