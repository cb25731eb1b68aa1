#pragma once

/// CyclicRemainder with the processor's carry-less multiplication, where it has one. Everything specific to a processor
/// stays behind this header. Internal to Checksums.

#include "Toolbox/KelUtils/Checksums/Internal/CyclicRemainder.h"

#include <array>
#include <cstddef>
#include <cstdint>

/// The factors that move the two halves of a 128-bit block by some number of bits: the remainders of x^bits and
/// x^(bits + 64).
struct FoldDistance {
  std::uint64_t low;
  std::uint64_t high;
};

/// Constants of a polynomial P of degree 16.
struct CarrylessConstants {
  /// By 1 to 4 registers, of 128 and of 512 bits.
  std::array<FoldDistance, 4> byRegisters128;
  std::array<FoldDistance, 4> byRegisters512;
  /// Of the four blocks before the remainder to the 16 bits of the remainder, times x. The last one comes last.
  std::array<FoldDistance, 4> toRemainder;
  std::uint64_t quotient;    ///< the integer part of x^79 / P
  std::uint64_t polynomial;  ///< P·x
};

constexpr FoldDistance MakeFoldDistance(unsigned int bits, std::uint16_t polynomial) {
  return {TimesPowerOfX(1, bits, polynomial), TimesPowerOfX(1, bits + 64, polynomial)};
}

constexpr CarrylessConstants MakeCarrylessConstants(std::uint16_t polynomial) {
  CarrylessConstants constants{};
  for (unsigned int index = 0; index < 4; ++index) {
    constants.byRegisters128[index] = MakeFoldDistance(128 * (index + 1), polynomial);
    constants.byRegisters512[index] = MakeFoldDistance(512 * (index + 1), polynomial);
    const FoldDistance distance = MakeFoldDistance(16 + 128 * (3 - index), polynomial);
    constants.toRemainder[index] = {distance.low << 1U, distance.high << 1U};
  }
  // Long division: x^(n+1) / P is x·(x^n / P), plus one where the remainder of x^n has its highest bit set.
  for (unsigned int n = 15; n < 79; ++n) {
    constants.quotient = constants.quotient << 1U | TimesPowerOfX(1, n, polynomial) >> 15U;
  }
  constants.polynomial = (0x10000ULL | polynomial) << 1U;
  return constants;
}

/// A way to compute remainders. It takes messages of at least `minimum` bytes whose size is a multiple of `unit`, at
/// any alignment.
struct CarrylessMethod {
  /// The remainder after the `size` bytes at `data`, which follow a message of the given remainder.
  std::uint16_t (*update)(const CarrylessConstants& constants, std::uint16_t remainder, const unsigned char* data,
                          std::size_t size) = nullptr;
  std::size_t minimum = 0;
  std::size_t unit = 1;
};

/// The ways that this processor has, the fastest first. `update` is null in the others.
std::array<CarrylessMethod, 2> FindCarrylessMethods();

/// The remainder after the `size` bytes at `data`: by `method` as far as it goes, the rest by table lookups.
template <std::uint16_t Polynomial>
std::uint16_t UpdateByMethod(const CarrylessMethod& method, std::uint16_t remainder, const unsigned char* data,
                             std::size_t size) {
  static constexpr CarrylessConstants kConstants = MakeCarrylessConstants(Polynomial);
  if (method.update != nullptr && size >= method.minimum) {
    const std::size_t rest = size % method.unit;
    remainder = method.update(kConstants, remainder, data, size - rest);
    data += size - rest;
    size = rest;
  }
  return CyclicRemainder<Polynomial>::Update(remainder, data, size);
}
