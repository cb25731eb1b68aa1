#include "Host/Text/Utf8.h"

#include <algorithm>
#include <cstddef>

namespace {

/// Length of the valid UTF-8 sequence at the text's beginning; 0 if there is none.
std::size_t SequenceLength(std::string_view text) {
  const auto byte = [&text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned int first = byte(0);
  if (first < 0x80) {
    return 1;
  }
  const std::size_t length = first >= 0xC2 && first < 0xE0   ? 2
                             : first >= 0xE0 && first < 0xF0 ? 3
                             : first >= 0xF0 && first < 0xF5 ? 4
                                                             : 0;
  if (length == 0 || text.size() < length) {
    return 0;
  }
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) {
      return 0;
    }
  }
  // Longer than need be, halves of surrogate pairs, beyond the last character.
  const bool isInvalid = (first == 0xE0 && byte(1) < 0xA0) || (first == 0xED && byte(1) >= 0xA0) ||
                         (first == 0xF0 && byte(1) < 0x90) || (first == 0xF4 && byte(1) >= 0x90);
  return isInvalid ? 0 : length;
}

}  // namespace

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = SequenceLength(text);
    if (length == 0) {
      return false;
    }
    text.remove_prefix(length);
  }
  return true;
}

std::string ToUtf8(std::string_view text) {
  if (IsUtf8(text)) {
    return std::string(text);
  }
  std::string result;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte < 0x80) {
      result.push_back(character);
    } else {
      result.push_back(static_cast<char>(0xC0 | byte >> 6));
      result.push_back(static_cast<char>(0x80 | (byte & 0x3F)));
    }
  }
  return result;
}
