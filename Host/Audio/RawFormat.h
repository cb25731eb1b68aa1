#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Samples without a header.
struct RawFormat {
  unsigned int sampleRate = 0;  ///< sample frames per second, at least 1
  unsigned int channels = 0;    ///< interleaved, 1 to 256
  int format = 0;               ///< encoding and byte order in libsndfile's numbers
  unsigned int frameSize = 0;   ///< bytes of a sample frame
};

/// Reads "RATE:FORMAT:CHANNELS", where FORMAT is one of RawFormatNames(); nothing for any other text.
///   ParseRawFormat("44100:s16le:2")
std::optional<RawFormat> ParseRawFormat(std::string_view text);

/// "u8, s8, s16le, ... and mulaw".
std::string RawFormatNames();
