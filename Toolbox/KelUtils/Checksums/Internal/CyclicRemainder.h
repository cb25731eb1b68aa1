#pragma once

/// Remainders modulo a polynomial of degree 16, most significant bit first: the one piece of code behind the checks of
/// 8 and 16 bits. A check of 8 bits with polynomial p is one of 16 bits with p·x^8, held in the high byte: the low byte
/// stays 0 throughout. Internal to Checksums.
///
/// Everything here follows from the polynomial at compile time; `Polynomial` is written without its x^16.

#include <array>
#include <cstddef>
#include <cstdint>

/// The remainder of r·x^n.
constexpr std::uint16_t TimesPowerOfX(std::uint16_t r, unsigned int n, std::uint16_t polynomial) {
  for (unsigned int i = 0; i < n; ++i) {
    const unsigned int shifted = r * 2U;
    r = static_cast<std::uint16_t>((r & 0x8000U) != 0 ? shifted ^ polynomial : shifted);
  }
  return r;
}

template <std::uint16_t Polynomial>
class CyclicRemainder {
 public:
  /// Bytes that are looked up at once.
  static constexpr std::size_t kSlice = 16;

  /// The remainder after `size` more bytes at `data`, by table lookups alone.
  static std::uint16_t Update(std::uint16_t remainder, const unsigned char* data, std::size_t size) {
    for (; size >= kSlice; size -= kSlice, data += kSlice) {
      remainder = UpdateSlice(remainder, data, kSlice);
    }
    return UpdateSlice(remainder, data, size);
  }

 private:
  using Table = std::array<std::uint16_t, 256>;

  // Table n holds the remainders of a byte with n bytes behind it.
  static constexpr std::array<Table, kSlice> MakeTables() {
    std::array<Table, kSlice> tables{};
    for (unsigned int byte = 0; byte < 256; ++byte) {
      auto remainder = static_cast<std::uint16_t>(byte << 8U);
      for (Table& table : tables) {
        remainder = TimesPowerOfX(remainder, 8, Polynomial);
        table[byte] = remainder;
      }
    }
    return tables;
  }
  static constexpr std::array<Table, kSlice> kTables = MakeTables();

  // The byte at i has size - 1 - i bytes behind it. The remainder so far is added to the first two bytes, which are
  // looked up last: the others need not wait for it. `size` is kSlice at most.
  static std::uint16_t UpdateSlice(std::uint16_t remainder, const unsigned char* data, std::size_t size) {
    if (size == 0) {
      return remainder;
    }
    const unsigned int high = remainder / 0x100U;
    const unsigned int low = remainder % 0x100U;
    if (size == 1) {
      return static_cast<std::uint16_t>(Lookup(0, data[0] ^ high) ^ low << 8U);
    }
    unsigned int sum = 0;
    for (std::size_t i = 2; i < size; ++i) {
      sum ^= Lookup(size - 1 - i, data[i]);
    }
    return static_cast<std::uint16_t>(sum ^ Lookup(size - 1, data[0] ^ high) ^ Lookup(size - 2, data[1] ^ low));
  }

  static unsigned int Lookup(std::size_t bytesBehind, unsigned int byte) { return kTables[bytesBehind][byte]; }
};
