#pragma once

#include <cstring>
#include <vector>

/// A copy of the `size` bytes at `source`; none when it is null. Throws std::bad_alloc.
inline std::vector<unsigned char> BytesAt(const unsigned char* source, unsigned long size) {
  return source == nullptr ? std::vector<unsigned char>() : std::vector<unsigned char>(source, source + size);
}

/// The characters of `text` up to its terminating NUL; none when it is null. Throws std::bad_alloc.
inline std::vector<unsigned char> BytesOf(const char* text) {
  return text == nullptr ? std::vector<unsigned char>() : std::vector<unsigned char>(text, text + std::strlen(text));
}

/// The first byte, or null when there is none.
inline const unsigned char* FirstOf(const std::vector<unsigned char>& bytes) {
  return bytes.empty() ? nullptr : bytes.data();
}
