#pragma once

/// Packs samples of any representation as little-endian integers of 16 or 24 bits: bit for bit where they fit, with
/// triangular dither and clipping where they do not.

#include "Host/Encode/SoundFormat.h"

#include <cstddef>
#include <cstdint>

/// Noise of triangular distribution between -1 and 1, the same sequence in every run.
class TriangularNoise {
 public:
  double Next() {
    // SplitMix64: a counter and a mixing function, whose two halves serve as two independent even distributions.
    m_counter += 0x9E3779B97F4A7C15;
    std::uint64_t bits = m_counter;
    bits = (bits ^ bits >> 30) * 0xBF58476D1CE4E5B9;
    bits = (bits ^ bits >> 27) * 0x94D049BB133111EB;
    bits ^= bits >> 31;
    const auto difference = static_cast<std::int64_t>(bits >> 32) - static_cast<std::int64_t>(bits & 0xFFFFFFFF);
    return static_cast<double>(difference) * 0x1p-32;
  }

 private:
  std::uint64_t m_counter = 0;
};

class SamplePacker {
 public:
  /// Packs samples of `type` with `significantBits` into `bits` (16 or 24).
  SamplePacker(SampleType type, unsigned int significantBits, unsigned int bits);

  /// True when nothing is lost: integers of no more significant bits than the target has.
  bool IsExact() const { return m_isExact; }

  /// True when samples in memory are packed already, so that there is nothing to do.
  bool IsIdentity() const;

  std::size_t BytesPerSample() const { return m_bits / 8; }

  /// Packs `count` samples (not sample frames) and writes count × BytesPerSample() bytes.
  void Pack(const void* samples, std::size_t count, unsigned char* to);

  /// Samples so far beyond -1 or 1 in floating point, set to full scale, and not-a-number, set to 0; those without
  /// dither.
  std::uint64_t ClippedSamples() const { return m_clippedSamples; }

 private:
  template <typename Sample>
  void PackDithered(const Sample* samples, std::size_t count, double scale, unsigned char* to);

  SampleType m_type;
  unsigned int m_bits;
  bool m_isExact;
  TriangularNoise m_noise;
  std::uint64_t m_clippedSamples = 0;
};
