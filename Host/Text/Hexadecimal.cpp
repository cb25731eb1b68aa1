#include "Host/Text/Hexadecimal.h"

#include <charconv>
#include <system_error>

std::string HexText(std::span<const unsigned char> bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const unsigned char byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xF];
  }
  return text;
}

std::optional<std::vector<unsigned char>> ParseHex(std::string_view text) {
  std::vector<unsigned char> bytes;
  for (; text.size() >= 2; text.remove_prefix(2)) {
    unsigned char byte = 0;
    const auto [read, error] = std::from_chars(text.data(), text.data() + 2, byte, 16);
    // from_chars stops at the first other character: of "4G" it reads one digit.
    if (error != std::errc() || read != text.data() + 2) {
      return std::nullopt;
    }
    bytes.push_back(byte);
  }
  return text.empty() ? std::optional(bytes) : std::nullopt;
}
