#pragma once

#include "Host/Audio/InputBytes.h"

#include <array>
#include <cstdint>

/// The position behind the ID3v2 tag at the bytes' beginning; 0 where there is none.
inline std::uint64_t AfterId3(InputBytes& bytes) {
  std::array<unsigned char, 10> header{};
  if (bytes.ReadAt(0, header.data(), header.size()) != header.size() || header[0] != 'I' || header[1] != 'D' ||
      header[2] != '3') {
    return 0;
  }
  std::uint64_t size = 0;
  for (std::size_t i = 6; i < header.size(); ++i) {
    size = size << 7 | (header[i] & 0x7FU);  // seven bits a byte
  }
  return header.size() + size;
}
