#include "Host/Audio/SamplePacker.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <type_traits>

namespace {

/// Writes the lowest 16 bits in little-endian order.
inline void Put16(std::uint32_t value, unsigned char* to) {
  to[0] = static_cast<unsigned char>(value);
  to[1] = static_cast<unsigned char>(value >> 8);
}

/// Writes the lowest 24 bits in little-endian order.
inline void Put24(std::uint32_t value, unsigned char* to) {
  Put16(value, to);
  to[2] = static_cast<unsigned char>(value >> 16);
}

/// Writes the upper `bits` (16 or 24) of left-justified integers. They hold all significant bits.
template <typename Sample>
void PackExactly(const Sample* samples, std::size_t count, unsigned int bits, unsigned char* to) {
  constexpr unsigned int kShift = 32 - 8 * sizeof(Sample);
  if (bits == 16) {
    for (std::size_t i = 0; i < count; ++i) {
      Put16(static_cast<std::uint32_t>(samples[i]) << kShift >> 16, to + 2 * i);
    }
  } else {
    std::size_t i = 0;
    // A store of four bytes takes half the time of three stores. The next sample overwrites the fourth byte; the last
    // sample is left to Put24, since nothing may be written behind it.
    for (; std::endian::native == std::endian::little && i + 1 < count; ++i) {
      const std::uint32_t value = static_cast<std::uint32_t>(samples[i]) << kShift >> 8;
      std::memcpy(to + 3 * i, &value, sizeof value);
    }
    for (; i < count; ++i) {
      Put24(static_cast<std::uint32_t>(samples[i]) << kShift >> 8, to + 3 * i);
    }
  }
}

}  // namespace

SamplePacker::SamplePacker(SampleType type, unsigned int significantBits, unsigned int bits)
    : m_type(type),
      m_bits(bits),
      m_isExact((type == SampleType::kInt16 || type == SampleType::kInt32) && significantBits <= bits) {}

bool SamplePacker::IsIdentity() const {
  return std::endian::native == std::endian::little && m_type == SampleType::kInt16 && m_bits == 16;
}

void SamplePacker::Pack(const void* samples, std::size_t count, unsigned char* to) {
  const auto fullScale = static_cast<double>(1U << (m_bits - 1));
  switch (m_type) {
    case SampleType::kInt16:
      PackExactly(static_cast<const std::int16_t*>(samples), count, m_bits, to);
      break;
    case SampleType::kInt32:
      if (m_isExact) {
        PackExactly(static_cast<const std::int32_t*>(samples), count, m_bits, to);
      } else {
        PackDithered(static_cast<const std::int32_t*>(samples), count, fullScale * 0x1p-31, to);
      }
      break;
    case SampleType::kFloat:
      PackDithered(static_cast<const float*>(samples), count, fullScale, to);
      break;
    case SampleType::kDouble:
      PackDithered(static_cast<const double*>(samples), count, fullScale, to);
      break;
  }
}

/// Packs samples that lose bits. `scale` brings their full scale to that of the target, 2^(bits - 1).
template <typename Sample>
void SamplePacker::PackDithered(const Sample* samples, std::size_t count, double scale, unsigned char* to) {
  const std::int32_t limit = std::int32_t{1} << (m_bits - 1);
  const std::size_t stride = BytesPerSample();
  // The conversion to integer truncates, which rounds to the nearest for positive numbers with a half added. The sum
  // is positive: the value is at least -limit and the dither is above -1.
  const double bias = limit + 1.5;
  // Local copies let the compiler keep the state in registers.
  TriangularNoise noise = m_noise;
  std::uint64_t clipped = 0;
  for (std::size_t i = 0; i < count; ++i) {
    double value = static_cast<double>(samples[i]) * scale;
    double dither = noise.Next();
    if constexpr (std::is_floating_point_v<Sample>) {
      // The negation includes not-a-number, for which both comparisons are false.
      if (!(value >= -limit && value <= limit)) {
        ++clipped;
        dither = 0;
        value = value > limit ? limit : value < -limit ? -limit : 0.0;
      }
    }
    const auto rounded = static_cast<std::int32_t>(value + dither + bias) - (limit + 1);
    // Dither may exceed full scale by one step, and +full scale itself is one step too large.
    const auto packed = static_cast<std::uint32_t>(std::clamp(rounded, -limit, limit - 1));
    if (stride == 2) {
      Put16(packed, to + 2 * i);
    } else {
      Put24(packed, to + 3 * i);
    }
  }
  m_noise = noise;
  m_clippedSamples += clipped;
}
