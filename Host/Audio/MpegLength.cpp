#include "Host/Audio/MpegLength.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace {

constexpr std::size_t kId3HeaderSize = 10;

/// Where the first frame lies: behind the ID3v2 tag, whose size has seven bits a byte.
std::uint64_t FirstFrame(InputBytes& bytes) {
  std::array<unsigned char, kId3HeaderSize> header{};
  bytes.ReadAt(0, header.data(), header.size());
  if (header[0] != 'I' || header[1] != 'D' || header[2] != '3') {
    return 0;
  }
  std::uint64_t size = 0;
  for (std::size_t i = 6; i < header.size(); ++i) {
    size = size << 7 | (header[i] & 0x7FU);
  }
  return kId3HeaderSize + size;
}

}  // namespace

bool StatesMpegLength(InputBytes& bytes) {
  constexpr std::size_t kLongestFrame = 1441;
  std::array<char, kLongestFrame> frame{};
  const std::size_t size = bytes.ReadAt(FirstFrame(bytes), frame.data(), frame.size());
  const std::string_view text(frame.data(), size);
  return text.find("Xing") != std::string_view::npos || text.find("Info") != std::string_view::npos;
}
