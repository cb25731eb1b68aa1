#include "Host/Audio/OggEnd.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <string_view>
#include <vector>

bool LacksOggEnd(InputBytes& bytes) {
  constexpr std::string_view kMagic = "OggS";
  // A page (RFC 3533) is a header of 27 bytes with a flags byte at 5 and the number of segments at 26, up to 255 sizes
  // of segments, and segments of up to 255 bytes. Flag 4 marks the last page of a stream.
  constexpr std::size_t kLongestPage = 27 + 255 + 255 * 255;
  constexpr std::size_t kFlagsAt = 5;
  constexpr std::size_t kCountAt = 26;
  constexpr char kEndFlag = 4;
  char magic[4]{};
  if (bytes.IsStream() || bytes.ReadAt(0, magic, sizeof magic) != sizeof magic ||
      std::string_view(magic, sizeof magic) != kMagic) {
    return false;
  }
  // The beginning of the last page lies in the last kLongestPage bytes, unless other bytes follow the page.
  std::vector<char> tail(static_cast<std::size_t>(std::min<std::uint64_t>(bytes.Length(), 2 * kLongestPage)));
  tail.resize(bytes.ReadAt(bytes.Length() - tail.size(), tail.data(), tail.size()));
  const std::string_view text(tail.data(), tail.size());
  const std::size_t page = text.rfind(kMagic);
  if (page == std::string_view::npos || text.size() - page <= kCountAt) {
    return true;
  }
  const std::size_t segments = static_cast<unsigned char>(text[page + kCountAt]);
  // A truncated table of sizes gives fewer than `segments`, and the page is then too short below.
  const std::string_view sizes = text.substr(page + kCountAt + 1, segments);
  const std::size_t body = std::accumulate(sizes.begin(), sizes.end(), std::size_t{0}, [](std::size_t sum, char size) {
    return sum + static_cast<unsigned char>(size);
  });
  const bool isWhole = text.size() - page >= kCountAt + 1 + segments + body;
  return !isWhole || (text[page + kFlagsAt] & kEndFlag) == 0;
}
