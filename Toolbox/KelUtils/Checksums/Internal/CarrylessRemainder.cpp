#include "Toolbox/KelUtils/Checksums/Internal/CarrylessRemainder.h"

#if defined(__x86_64__) || defined(__i386__)

#include <immintrin.h>

#define KEL_CARRYLESS [[gnu::target("pclmul,ssse3")]]

namespace {

// As many blocks move along side by side, so that multiplications overlap.
constexpr std::size_t kLanes = kCarrylessMinimumBlocks;

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

// What is left of `message`, followed by 16 zero bits, on division by P. Everything is times x here, so that the
// quotient lies in whole words.
KEL_CARRYLESS std::uint16_t Reduce(const CarrylessConstants& constants, __m128i message) {
  const __m128i divisor =
      _mm_set_epi64x(static_cast<long long>(constants.polynomial), static_cast<long long>(constants.quotient));
  const __m128i dividend = FoldOnto(_mm_setzero_si128(), message, LoadDistance(constants.toRemainder));
  const __m128i quotient = _mm_clmulepi64_si128(_mm_srli_si128(dividend, 2), divisor, 0x00);
  const __m128i product = _mm_clmulepi64_si128(quotient, divisor, 0x11);
  const int remainder = _mm_cvtsi128_si32(_mm_xor_si128(dividend, product));
  return static_cast<std::uint16_t>(static_cast<unsigned int>(remainder) >> 1U);
}

KEL_CARRYLESS std::uint16_t Update(const CarrylessConstants& constants, std::uint16_t remainder,
                                   const unsigned char* data, std::size_t blocks) {
  __m128i lanes[kLanes];
  for (std::size_t lane = 0; lane < kLanes; ++lane, data += kCarrylessBlock) {
    lanes[lane] = LoadBlock(data);
  }
  lanes[0] = _mm_xor_si128(lanes[0], _mm_set_epi16(static_cast<short>(remainder), 0, 0, 0, 0, 0, 0, 0));

  const __m128i byLanes = LoadDistance(constants.byLanes);
  for (blocks -= kLanes; blocks >= kLanes; blocks -= kLanes) {
    for (std::size_t lane = 0; lane < kLanes; ++lane, data += kCarrylessBlock) {
      lanes[lane] = FoldOnto(LoadBlock(data), lanes[lane], byLanes);
    }
  }

  const __m128i byOne = LoadDistance(constants.byBlock);
  const __m128i front = FoldOnto(lanes[1], lanes[0], byOne);
  const __m128i back = FoldOnto(lanes[3], lanes[2], byOne);
  __m128i message = FoldOnto(back, front, LoadDistance(constants.byTwoBlocks));
  for (; blocks != 0; --blocks, data += kCarrylessBlock) {
    message = FoldOnto(LoadBlock(data), message, byOne);
  }
  return Reduce(constants, message);
}

CarrylessFunction ChooseUpdate() {
  return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("ssse3") ? &Update : nullptr;
}

}  // namespace

const CarrylessFunction kUpdateCarryless = ChooseUpdate();

#else

const CarrylessFunction kUpdateCarryless = nullptr;

#endif
