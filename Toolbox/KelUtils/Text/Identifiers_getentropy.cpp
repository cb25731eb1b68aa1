#include "Toolbox/KelUtils/Text/Identifiers.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

// For builds without libuuid: random numbers of the kernel as a UUID of version 4 (RFC 4122).
std::string KelGetGUID() {
  std::array<unsigned char, 16> bytes{};
  if (getentropy(bytes.data(), bytes.size()) != 0) {
    throw std::system_error(errno, std::generic_category(), "the system provides no random numbers for an identifier");
  }
  bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);  // version 4: random
  bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);  // the variant that has versions

  std::string text;
  for (const unsigned byte : bytes) {
    // Groups of 8, 4, 4, 4 and 12 digits.
    const bool opensGroup = text.size() == 8 || text.size() == 13 || text.size() == 18 || text.size() == 23;
    text += opensGroup ? "-" : "";
    text += "0123456789abcdef"[byte / 16];
    text += "0123456789abcdef"[byte % 16];
  }
  return text;
}
