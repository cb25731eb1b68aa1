#pragma once

/// Timestamps of audio in a Matroska file: whole ticks of a whole number of nanoseconds, from which the sample time can
/// be recovered exactly.

#include <cstdint>

/// Converts times between sample frames and ticks. The tick is the largest whole number of nanoseconds that does not
/// exceed the duration of a sample frame. A timestamp is therefore wrong by less than half a sample frame, and
/// round(ticks × tick length × sample rate) is the sample time again, however long the file is.
///
///   MatroskaClock(44100).TickNanoseconds() == 22675     (a sample frame lasts 22675.74 ns)
///   MatroskaClock(44100).Ticks(44100)      == 44101     (1.000010175 s; × 44100 = 44100.45)
class MatroskaClock {
 public:
  /// `sampleRate`: sample frames per second. Values outside 1 to 10^9 are clamped.
  explicit MatroskaClock(unsigned int sampleRate)
      : m_sampleRate(sampleRate == 0             ? 1
                     : sampleRate > kNanoseconds ? kNanoseconds
                                                 : sampleRate),
        m_tick(kNanoseconds / m_sampleRate) {}

  std::uint64_t TickNanoseconds() const { return m_tick; }

  /// The tick nearest to a sample time, halves rounded up. Exact for any time below 2^63 sample frames.
  std::uint64_t Ticks(std::uint64_t sampleFrames) const { return Scaled(sampleFrames, m_sampleRate * m_tick); }

  /// The nanosecond nearest to a sample time, halves rounded up; modulo 2^64, which is 584 years.
  std::uint64_t Nanoseconds(std::uint64_t sampleFrames) const { return Scaled(sampleFrames, m_sampleRate); }

  /// A sample time in ticks, not rounded.
  double ExactTicks(std::uint64_t sampleFrames) const {
    return static_cast<double>(sampleFrames) * kNanoseconds / static_cast<double>(m_sampleRate * m_tick);
  }

 private:
  static constexpr std::uint32_t kNanoseconds = 1'000'000'000;

  /// round(value × 10^9 ÷ divisor) for divisor <= 10^9, without an intermediate product that overflows.
  static std::uint64_t Scaled(std::uint64_t value, std::uint64_t divisor) {
    return value / divisor * kNanoseconds + (value % divisor * kNanoseconds + divisor / 2) / divisor;
  }

  std::uint64_t m_sampleRate;
  std::uint64_t m_tick;
};
