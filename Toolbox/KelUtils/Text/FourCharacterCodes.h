#pragma once

/// Four-character codes: 32-bit numbers that stand for four characters, the most significant byte first ('LPCM' is
/// 0x4C50434D).

#include "RHOAPI/RHOAPIExport.h"

/// The code of a literal of four characters.
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

/// Writes the pair of codes of the codec `name` and returns true. Two exact names have a pair of their own:
/// "ZAVQuillVideoCodec1" gives 'ZAV ' and 'QLL1', "ZAVMVC1 " gives 'MCpt' and 'VC1 '. Any other name of eight
/// characters is split: "abcdEFGH" gives 'abcd' and 'EFGH'. For every other name the result is false and both codes are
/// 0. When any argument is null, the result is false and nothing is written.
RHOAPI_EXPORT bool KelGetFourCCCodes(char const* name, unsigned int* first, unsigned int* second);

/// Writes the four characters of each code, most significant byte first, and a NUL to `out`: nine bytes. False, and
/// nothing written, when `out` is null.
///   'ZAV ' and 'LPCM' give "ZAV LPCM"
RHOAPI_EXPORT bool KelGetManufactureCodecEightCCString(char* out, unsigned int manufacturer, unsigned int codec);
