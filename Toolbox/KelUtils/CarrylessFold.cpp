#include "Toolbox/KelUtils/CarrylessFold.h"

#if defined(__x86_64__) || defined(__i386__)

#include <immintrin.h>

#define KEL_CARRYLESS [[gnu::target("pclmul,ssse3")]]

namespace {

// As many blocks move along side by side, so that multiplications overlap.
constexpr std::size_t kLanes = kFoldMinimumBlocks;

// Polynomials have their highest power in the highest bit: the first byte in memory goes to the top.
KEL_CARRYLESS __m128i ReverseBytes(__m128i block) {
  return _mm_shuffle_epi8(block, _mm_set_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
}

KEL_CARRYLESS __m128i LoadBlock(const unsigned char* data) {
  return ReverseBytes(_mm_loadu_si128(reinterpret_cast<const __m128i*>(data)));
}

KEL_CARRYLESS __m128i LoadDistance(const FoldDistance& distance) {
  return _mm_set_epi64x(static_cast<long long>(distance.high), static_cast<long long>(distance.low));
}

// What `block`, moved by `distance`, adds to the block that it lands on.
KEL_CARRYLESS __m128i FoldOnto(__m128i target, __m128i block, __m128i distance) {
  const __m128i high = _mm_clmulepi64_si128(block, distance, 0x11);
  const __m128i low = _mm_clmulepi64_si128(block, distance, 0x00);
  return _mm_xor_si128(target, _mm_xor_si128(high, low));
}

KEL_CARRYLESS std::array<unsigned char, kFoldBlock> Fold(const FoldConstants& constants, std::uint16_t remainder,
                                                         const unsigned char* data, std::size_t blocks) {
  __m128i lanes[kLanes];
  for (std::size_t lane = 0; lane < kLanes; ++lane) {
    lanes[lane] = LoadBlock(data + lane * kFoldBlock);
  }
  lanes[0] = _mm_xor_si128(lanes[0], _mm_set_epi16(static_cast<short>(remainder), 0, 0, 0, 0, 0, 0, 0));

  const __m128i byLanes = LoadDistance(constants.byLanes);
  for (blocks -= kLanes, data += kLanes * kFoldBlock; blocks >= kLanes; blocks -= kLanes, data += kLanes * kFoldBlock) {
    for (std::size_t lane = 0; lane < kLanes; ++lane) {
      lanes[lane] = FoldOnto(LoadBlock(data + lane * kFoldBlock), lanes[lane], byLanes);
    }
  }

  const __m128i byBlock = LoadDistance(constants.byBlock);
  __m128i folded = lanes[0];
  for (std::size_t lane = 1; lane < kLanes; ++lane) {
    folded = FoldOnto(lanes[lane], folded, byBlock);
  }
  for (; blocks != 0; --blocks, data += kFoldBlock) {
    folded = FoldOnto(LoadBlock(data), folded, byBlock);
  }

  std::array<unsigned char, kFoldBlock> result;
  _mm_storeu_si128(reinterpret_cast<__m128i*>(result.data()), ReverseBytes(folded));
  return result;
}

FoldFunction ChooseFold() {
  return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("ssse3") ? &Fold : nullptr;
}

}  // namespace

const FoldFunction kFoldCarryless = ChooseFold();

#else

const FoldFunction kFoldCarryless = nullptr;

#endif
