#include "Host/Plugin/CompressorCodes.h"

#include "RHOAPI/RhoapiAudioCodec.h"

#include <fmt/format.h>

#include <algorithm>

CompressorCodes CodesOf(IAudioCompressor& compressor) {
  CompressorCodes codes;
  compressor.GetAudioCompressorInfo(codes.manufacturer, codes.codec);
  return codes;
}

std::string CodeText(unsigned int code) {
  // The first character is in the highest byte.
  std::string text;
  for (const unsigned int shift : {24U, 16U, 8U, 0U}) {
    text += static_cast<char>(code >> shift & 0xFF);
  }
  const bool isPrintable = std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
  return isPrintable ? text : fmt::format("0x{:08X}", code);
}

std::string CodesText(const CompressorCodes& codes) {
  std::string manufacturer = CodeText(codes.manufacturer);
  // Codes of fewer than four characters are padded with spaces: "ZAV ".
  manufacturer.erase(manufacturer.find_last_not_of(' ') + 1);
  return fmt::format("{} {}", manufacturer, CodeText(codes.codec));
}
