#pragma once

/// Shortening a message with the processor's carry-less multiplication, where it has one, without changing the
/// message's remainder. Whatever is particular to a processor stays behind this header. Internal to Checksums.

#include "Toolbox/KelUtils/CyclicRemainder.h"

#include <array>
#include <cstddef>
#include <cstdint>

inline constexpr std::size_t kFoldBlock = 16;         ///< bytes that a message is folded into
inline constexpr std::size_t kFoldMinimumBlocks = 4;  ///< the shortest message that can be folded

/// What moving a block by so many bits multiplies its two halves with: the remainders of x^(bits + 64) and x^bits.
struct FoldDistance {
  std::uint64_t high;
  std::uint64_t low;
};

struct FoldConstants {
  FoldDistance byBlock;
  FoldDistance byLanes;  ///< by kFoldMinimumBlocks blocks
};

constexpr FoldConstants MakeFoldConstants(std::uint16_t polynomial) {
  const auto distance = [=](unsigned int bits) {
    return FoldDistance{TimesPowerOfX(1, bits + 64, polynomial), TimesPowerOfX(1, bits, polynomial)};
  };
  return {distance(8 * kFoldBlock), distance(8 * kFoldBlock * kFoldMinimumBlocks)};
}

/// The one block that leaves the same remainder, starting from 0, as the `blocks` blocks (kFoldMinimumBlocks or more)
/// at `data` leave starting from `remainder`. No alignment is needed.
using FoldFunction = std::array<unsigned char, kFoldBlock> (*)(const FoldConstants& constants, std::uint16_t remainder,
                                                               const unsigned char* data, std::size_t blocks);

/// Null where the processor cannot; chosen when the module is loaded.
extern const FoldFunction kFoldCarryless;
