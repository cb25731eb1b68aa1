#pragma once

/// CyclicRemainder for longer messages, with the processor's carry-less multiplication, where it has one. Whatever is
/// particular to a processor stays behind this header. Internal to Checksums.

#include "Toolbox/KelUtils/Checksums/Internal/CyclicRemainder.h"

#include <cstddef>
#include <cstdint>

/// Messages come in blocks of so many bytes, and at least so many blocks.
inline constexpr std::size_t kCarrylessBlock = 16;
inline constexpr std::size_t kCarrylessMinimumBlocks = 4;

/// What moving a block by so many bits multiplies its two halves with: the remainders of x^(bits + 64) and x^bits.
struct FoldDistance {
  std::uint64_t high;
  std::uint64_t low;
};

/// What a polynomial P of degree 16 comes to in 64 bits.
struct CarrylessConstants {
  FoldDistance byBlock;
  FoldDistance byTwoBlocks;
  FoldDistance byLanes;      ///< by kCarrylessMinimumBlocks blocks
  FoldDistance toRemainder;  ///< by the remainder's own 16 bits, times x
  std::uint64_t quotient;    ///< the whole part of x^79 / P
  std::uint64_t polynomial;  ///< P·x
};

constexpr FoldDistance MakeFoldDistance(unsigned int bits, std::uint16_t polynomial) {
  return {TimesPowerOfX(1, bits + 64, polynomial), TimesPowerOfX(1, bits, polynomial)};
}

constexpr CarrylessConstants MakeCarrylessConstants(std::uint16_t polynomial) {
  constexpr unsigned int kBlockBits = 8 * kCarrylessBlock;
  const FoldDistance by16 = MakeFoldDistance(16, polynomial);
  CarrylessConstants constants{MakeFoldDistance(kBlockBits, polynomial),
                               MakeFoldDistance(kBlockBits * 2, polynomial),
                               MakeFoldDistance(kBlockBits * kCarrylessMinimumBlocks, polynomial),
                               {by16.high << 1U, by16.low << 1U},
                               0,
                               (0x10000ULL | polynomial) << 1U};
  // Long division: x^(n+1) / P is x·(x^n / P), and one more where the remainder of x^n has its highest bit set.
  for (unsigned int n = 15; n < 79; ++n) {
    constants.quotient = constants.quotient << 1U | TimesPowerOfX(1, n, polynomial) >> 15U;
  }
  return constants;
}

/// The remainder after the `blocks` blocks at `data`, which follow a message of the given remainder. No alignment is
/// needed.
using CarrylessFunction = std::uint16_t (*)(const CarrylessConstants& constants, std::uint16_t remainder,
                                            const unsigned char* data, std::size_t blocks);

/// Null where the processor has no such multiplication; chosen when the module is loaded.
extern const CarrylessFunction kUpdateCarryless;
