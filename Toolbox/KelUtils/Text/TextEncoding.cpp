#include "Toolbox/KelUtils/Text/TextEncoding.h"

#include <array>
#include <cstddef>
#include <cstring>

namespace {

using SymbolPair = std::array<char, 2>;
constexpr std::size_t kPairs = 4096;

// The two symbols for each value of twelve bits.
constexpr std::array<SymbolPair, kPairs> MakePairs(const char* alphabet) {
  std::array<SymbolPair, kPairs> pairs{};
  for (std::size_t bits = 0; bits < kPairs; ++bits) {
    pairs[bits] = {alphabet[bits % 64], alphabet[bits / 64]};
  }
  return pairs;
}

// `count` bytes, at most three, the first in the lowest bits.
unsigned int BitsOf(const unsigned char* bytes, std::size_t count) {
  unsigned int bits = 0;
  for (std::size_t index = 0; index < count; ++index) {
    bits |= static_cast<unsigned int>(bytes[index]) << 8 * index;
  }
  return bits;
}

}  // namespace

void KelEncodeBase64(std::vector<unsigned char> const& data, std::string& out) {
  static constexpr char alphabet[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_.";
  static constexpr std::array<SymbolPair, kPairs> pairs = MakePairs(alphabet);

  // One remaining byte gives two symbols, two give three; there is no padding.
  const std::size_t rest = data.size() % 3;
  out.resize(data.size() / 3 * 4 + (rest == 0 ? 0 : rest + 1));

  // Three bytes are four symbols.
  const unsigned char* in = data.data();
  char* symbols = out.data();
  for (const unsigned char* const end = in + (data.size() - rest); in != end; in += 3, symbols += 4) {
    const unsigned int bits = BitsOf(in, 3);
    std::memcpy(symbols, pairs[bits & 0xFFFU].data(), 2);
    std::memcpy(symbols + 2, pairs[bits >> 12U].data(), 2);
  }
  if (rest != 0) {
    const unsigned int bits = BitsOf(in, rest);
    std::memcpy(symbols, pairs[bits & 0xFFFU].data(), 2);
    if (rest == 2) {
      symbols[2] = alphabet[bits >> 12U];
    }
  }
}
