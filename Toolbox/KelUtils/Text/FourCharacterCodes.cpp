#include "Toolbox/KelUtils/Text/FourCharacterCodes.h"

#include <array>
#include <string_view>

namespace {

/// A codec whose name is not its pair of codes.
struct NamedCodec {
  std::string_view name;
  unsigned int first;
  unsigned int second;
};

constexpr std::array<NamedCodec, 2> kNamedCodecs{{
    {"ZAVQuillVideoCodec1", FourCharacterCode("ZAV "), FourCharacterCode("QLL1")},
    {"ZAVMVC1 ", FourCharacterCode("MCpt"), FourCharacterCode("VC1 ")},
}};

/// Writes the four characters, the most significant byte first, and returns the position behind them.
char* WriteFourCharacterCode(char* out, unsigned int code) {
  for (int shift = 24; shift >= 0; shift -= 8) {
    *out++ = static_cast<char>((code >> shift) & 0xFFU);
  }
  return out;
}

}  // namespace

unsigned int KelCharToUInt32(unsigned char const* p) {
  if (p == nullptr) {
    return 0;
  }
  return static_cast<unsigned int>(p[0]) << 24U | static_cast<unsigned int>(p[1]) << 16U |
         static_cast<unsigned int>(p[2]) << 8U | static_cast<unsigned int>(p[3]);
}

bool KelGetFourCCCodes(char const* name, unsigned int* first, unsigned int* second) {
  if (name == nullptr || first == nullptr || second == nullptr) {
    return false;
  }
  *first = 0;
  *second = 0;
  const std::string_view wanted(name);
  for (const NamedCodec& codec : kNamedCodecs) {
    if (codec.name == wanted) {
      *first = codec.first;
      *second = codec.second;
      return true;
    }
  }
  if (wanted.size() != 8) {
    return false;
  }
  const auto* const bytes = reinterpret_cast<const unsigned char*>(name);
  *first = KelCharToUInt32(bytes);
  *second = KelCharToUInt32(bytes + 4);
  return true;
}

bool KelGetManufactureCodecEightCCString(char* out, unsigned int manufacturer, unsigned int codec) {
  if (out == nullptr) {
    return false;
  }
  *WriteFourCharacterCode(WriteFourCharacterCode(out, manufacturer), codec) = '\0';
  return true;
}
