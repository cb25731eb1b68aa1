#pragma once

/// Four-character codes: 32-bit numbers that are read as four characters, the most significant byte first ('LPCM' is
/// 0x4C50434D).

#include "RHOAPI/RHOAPIExport.h"

/// The code that a literal of four characters spells.
///   FourCharacterCode("LPCM") == 0x4C50434D
constexpr unsigned int FourCharacterCode(const char (&text)[5]) {
  unsigned int code = 0;
  for (int index = 0; index < 4; ++index) {
    code = code << 8 | static_cast<unsigned char>(text[index]);
  }
  return code;
}

/// The code whose characters are the four bytes at `p`; 0 for null.
RHOAPI_EXPORT unsigned int KelCharToUInt32(unsigned char const* p);

/// The pair of codes that the codec called `name` goes by. Two names have a pair of their own, letter case and blanks
/// included: "ZAVQuillVideoCodec1" is 'ZAV ' with 'QLL1', "ZAVMVC1 " is 'MCpt' with 'VC1 '. Any other name of exactly
/// eight characters is its own pair: "abcdEFGH" gives 'abcd' and 'EFGH'. Every other name gives false and two zeros.
/// False, and nothing written, when any argument is null.
RHOAPI_EXPORT bool KelGetFourCCCodes(char const* name, unsigned int* first, unsigned int* second);

/// Writes the four characters of each code, most significant byte first, and a NUL to `out`: nine bytes. False, and
/// nothing written, when `out` is null.
///   'ZAV ' and 'LPCM' give "ZAV LPCM"
RHOAPI_EXPORT bool KelGetManufactureCodecEightCCString(char* out, unsigned int manufacturer, unsigned int codec);
