#include "Toolbox/KelUtils/Media/Internal/RowPackingRoutine.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

[[gnu::weak]] void ProResb64aPackingAsm(const unsigned char* source, unsigned char* destination, int pixelPairs) {
  constexpr std::ptrdiff_t kBytesPerPair = 16;
  const std::ptrdiff_t size = pixelPairs * kBytesPerPair;
  for (std::ptrdiff_t at = 0; at < size; at += 2) {
    std::uint16_t component = 0;
    std::memcpy(&component, source + at, sizeof component);
    destination[at] = static_cast<unsigned char>(component >> 8);
    destination[at + 1] = static_cast<unsigned char>(component & 0xFF);
  }
}
