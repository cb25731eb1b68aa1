#include "Toolbox/KelUtils/Checksums/Internal/CarrylessRemainder.h"

#if defined(__x86_64__) || defined(__i386__)

#include <cpuid.h>
#include <immintrin.h>

// Both methods fold: four registers process the message side by side, so that multiplications overlap; each is
// multiplied by the factor that moves it to the block to which it is added next. Polynomials have their highest power
// in the highest bit, so the first byte in memory becomes the highest byte of its block.

#define KEL_TARGET_128 [[gnu::target("pclmul,ssse3")]]
#define KEL_TARGET_512 [[gnu::target("avx512f,avx512bw,vpclmulqdq,pclmul,ssse3")]]

namespace {

// The remainder of `dividend`, the sum of blocks times their toRemainder, divided by P. All values are multiplied by x,
// so that the quotient is in whole words.
KEL_TARGET_128 std::uint16_t Reduce(const CarrylessConstants& constants, __m128i dividend) {
  const __m128i divisor =
      _mm_set_epi64x(static_cast<long long>(constants.polynomial), static_cast<long long>(constants.quotient));
  // Barrett reduction: the high part of the dividend times x^79 / P gives the quotient, and the dividend minus the
  // quotient times P is the remainder. Subtraction is XOR.
  const __m128i quotient = _mm_clmulepi64_si128(_mm_srli_si128(dividend, 2), divisor, 0x00);
  const __m128i product = _mm_clmulepi64_si128(quotient, divisor, 0x11);
  const int remainder = _mm_cvtsi128_si32(_mm_xor_si128(dividend, product));
  return static_cast<std::uint16_t>(static_cast<unsigned int>(remainder) >> 1U);
}

/// The bytes in reverse order: the first one in memory becomes the highest.
KEL_TARGET_128 __m128i Reverse128(__m128i block) {
  return _mm_shuffle_epi8(block, _mm_set_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
}

KEL_TARGET_128 __m128i Load128(const unsigned char* data) {
  return Reverse128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(data)));
}

KEL_TARGET_128 __m128i LoadDistance128(const FoldDistance& distance) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(&distance));
}

// `target` plus `block` moved by `distance`.
KEL_TARGET_128 __m128i Fold128(__m128i target, __m128i block, __m128i distance) {
  const __m128i high = _mm_clmulepi64_si128(block, distance, 0x11);
  const __m128i low = _mm_clmulepi64_si128(block, distance, 0x00);
  return _mm_xor_si128(target, _mm_xor_si128(high, low));
}

// For at least 64 bytes, in whole blocks of 16.
KEL_TARGET_128 std::uint16_t Update128(const CarrylessConstants& constants, std::uint16_t remainder,
                                       const unsigned char* data, std::size_t size) {
  constexpr std::size_t kBlock = 16;
  constexpr std::size_t kLanes = 4;
  __m128i lanes[kLanes];
  for (std::size_t lane = 0; lane < kLanes; ++lane, data += kBlock) {
    lanes[lane] = Load128(data);
  }
  // The remainder so far is added to the first two bytes of the message, the highest of the first block.
  lanes[0] = _mm_xor_si128(lanes[0], _mm_set_epi16(static_cast<short>(remainder), 0, 0, 0, 0, 0, 0, 0));

  const __m128i byLanes = LoadDistance128(constants.byRegisters128[kLanes - 1]);
  for (size -= kLanes * kBlock; size >= kLanes * kBlock; size -= kLanes * kBlock) {
    for (std::size_t lane = 0; lane < kLanes; ++lane, data += kBlock) {
      lanes[lane] = Fold128(Load128(data), lanes[lane], byLanes);
    }
  }
  // Up to three blocks more: the first lane is added to each, and the others move up.
  for (; size != 0; size -= kBlock, data += kBlock) {
    const __m128i next = Fold128(Load128(data), lanes[0], byLanes);
    lanes[0] = lanes[1];
    lanes[1] = lanes[2];
    lanes[2] = lanes[3];
    lanes[3] = next;
  }
  __m128i dividend = _mm_setzero_si128();
  for (std::size_t lane = 0; lane < kLanes; ++lane) {
    dividend = Fold128(dividend, lanes[lane], LoadDistance128(constants.toRemainder[lane]));
  }
  return Reduce(constants, dividend);
}

// The masks here and below exclude nothing: g++ 12 warns of an uninitialized register in the functions without a mask.
KEL_TARGET_512 __m512i Broadcast(__m128i block) { return _mm512_maskz_broadcast_i32x4(0xFFFF, block); }

// Four blocks, the first one in the lowest lane.
KEL_TARGET_512 __m512i Reverse512(__m512i blocks) {
  const __m128i order = _mm_set_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
  return _mm512_shuffle_epi8(blocks, Broadcast(order));
}

KEL_TARGET_512 __m512i Load512(const unsigned char* data) { return Reverse512(_mm512_loadu_si512(data)); }

KEL_TARGET_512 __m512i LoadDistance512(const FoldDistance& distance) {
  return Broadcast(_mm_loadu_si128(reinterpret_cast<const __m128i*>(&distance)));
}

KEL_TARGET_512 __m512i Fold512(__m512i target, __m512i blocks, __m512i distance) {
  const __m512i high = _mm512_clmulepi64_epi128(blocks, distance, 0x11);
  const __m512i low = _mm512_clmulepi64_epi128(blocks, distance, 0x00);
  constexpr int kXorOfAll = 0x96;
  return _mm512_ternarylogic_epi64(target, high, low, kXorOfAll);
}

// A register whose last `size` bytes are those at `data`, with the remainder added to the first two; the bytes before
// are 0, which changes no remainder. `size` is 2 to 64. Bytes in front of `data` are not read.
KEL_TARGET_512 __m512i LoadFirst512(std::uint16_t remainder, const unsigned char* data, std::size_t size) {
  const std::size_t gap = 64 - size;
  const __m512i message = _mm512_maskz_loadu_epi8(~((1ULL << gap) - 1), data - gap);
  const __m512i high = _mm512_maskz_set1_epi8(1ULL << gap, static_cast<char>(remainder >> 8U));
  const __m512i low = _mm512_maskz_set1_epi8(2ULL << gap, static_cast<char>(remainder & 0xFFU));
  constexpr int kXorOfAll = 0x96;
  return Reverse512(_mm512_ternarylogic_epi64(message, high, low, kXorOfAll));
}

// For at least 2 bytes: a partial register comes first, filled up with zeros in front. 5,880 bytes take 2.0 times as
// long as memcpy, with 128-bit registers 10.7 times.
KEL_TARGET_512 std::uint16_t Update512(const CarrylessConstants& constants, std::uint16_t remainder,
                                       const unsigned char* data, std::size_t size) {
  constexpr std::size_t kRegister = 64;
  const std::size_t first = (size - 1) % kRegister + 1;
  __m512i last;
  if (first != 1) {
    last = LoadFirst512(remainder, data, first);
    data += first;
    size -= first;
  } else {
    // The remainder reaches into the second register: the first byte alone, then a full register.
    const __m128i byte = _mm_cvtsi32_si128(static_cast<int>(data[0] ^ static_cast<unsigned int>(remainder) >> 8U));
    const auto rest = static_cast<std::uint16_t>(remainder << 8U);
    last = Fold512(LoadFirst512(rest, data + 1, kRegister), _mm512_inserti32x4(_mm512_setzero_si512(), byte, 3),
                   LoadDistance512(constants.byRegisters512[0]));
    data += 1 + kRegister;
    size -= 1 + kRegister;
  }
  if (size >= 4 * kRegister) {
    __m512i lanes[] = {last, Load512(data), Load512(data + kRegister), Load512(data + 2 * kRegister)};
    data += 3 * kRegister;
    const __m512i byLanes = LoadDistance512(constants.byRegisters512[3]);
    for (size -= 3 * kRegister; size >= 4 * kRegister; size -= 4 * kRegister) {
      for (__m512i& lane : lanes) {
        lane = Fold512(Load512(data), lane, byLanes);
        data += kRegister;
      }
    }
    last = lanes[3];
    for (std::size_t lane = 0; lane < 3; ++lane) {
      last = Fold512(last, lanes[lane], LoadDistance512(constants.byRegisters512[2 - lane]));
    }
  }
  for (; size != 0; size -= kRegister, data += kRegister) {
    last = Fold512(Load512(data), last, LoadDistance512(constants.byRegisters512[0]));
  }
  const __m512i toRemainder = _mm512_loadu_si512(constants.toRemainder.data());
  const __m512i sums = Fold512(_mm512_setzero_si512(), last, toRemainder);
  const __m256i halves =
      _mm256_xor_si256(_mm512_maskz_extracti64x4_epi64(0xF, sums, 0), _mm512_maskz_extracti64x4_epi64(0xF, sums, 1));
  return Reduce(constants, _mm_xor_si128(_mm256_castsi256_si128(halves), _mm256_extracti128_si256(halves, 1)));
}

/// The instruction sets of this processor that the methods need, without those whose registers the system does not
/// save. Not by __builtin_cpu_supports: for it, the compiler's runtime asks the processor whenever the module is
/// loaded, which takes 50 µs in a virtual machine.
struct InstructionSets {
  bool hasCarryless = false;     ///< PCLMULQDQ and SSSE3
  bool hasCarryless512 = false;  ///< VPCLMULQDQ, AVX512F and AVX512BW
};

[[gnu::target("xsave")]] InstructionSets FindInstructionSets() {
  // Bits 1, 2, 5, 6 and 7 of XCR0: XMM, upper halves of YMM, masks, upper halves of ZMM0 to ZMM15, ZMM16 to ZMM31.
  constexpr unsigned int kAllOf512 = 0xE6;
  unsigned int eax = 0;
  unsigned int ebx = 0;
  unsigned int ecx = 0;
  unsigned int edx = 0;
  InstructionSets found;
  if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) == 0) {
    return found;
  }
  found.hasCarryless = (ecx & bit_PCLMUL) != 0 && (ecx & bit_SSSE3) != 0;
  const bool isSaved = (ecx & bit_OSXSAVE) != 0 && (_xgetbv(0) & kAllOf512) == kAllOf512;
  found.hasCarryless512 = found.hasCarryless && isSaved && __get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0 &&
                          (ebx & bit_AVX512F) != 0 && (ebx & bit_AVX512BW) != 0 && (ecx & bit_VPCLMULQDQ) != 0;
  return found;
}

}  // namespace

std::array<CarrylessMethod, 2> FindCarrylessMethods() {
  const InstructionSets instructions = FindInstructionSets();
  std::array<CarrylessMethod, 2> methods{};
  if (instructions.hasCarryless512) {
    methods[0] = {&Update512, 2, 1};
  }
  if (instructions.hasCarryless) {
    methods[1] = {&Update128, 64, 16};
  }
  return methods;
}

#else

std::array<CarrylessMethod, 2> FindCarrylessMethods() { return {}; }

#endif
