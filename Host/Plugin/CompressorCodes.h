#pragma once

#include <string>

class IAudioCompressor;

/// The two four-character codes by which a compressor is known.
struct CompressorCodes {
  unsigned int manufacturer = 0;
  unsigned int codec = 0;

  bool operator==(const CompressorCodes&) const = default;
};

CompressorCodes CodesOf(IAudioCompressor& compressor);

/// A four-character code as people write it: "LPCM"; in hexadecimal, "0x414C4C01", if it has other than printable ASCII
/// characters.
std::string CodeText(unsigned int code);

/// Both codes for messages: "ZAV LPCM".
std::string CodesText(const CompressorCodes& codes);
