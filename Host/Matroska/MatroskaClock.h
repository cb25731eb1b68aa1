#pragma once

/// How a Matroska file tells the time of audio: whole ticks of a whole number of nanoseconds, chosen so that the sample
/// time comes back.

#include <cstdint>

/// Converts times between sample frames and ticks. A tick is the longest one not longer than a sample frame: being off
/// by half a tick is then less than half a sample frame (or nothing, where a sample frame is a whole number of
/// nanoseconds), so round(ticks × tick length × sample rate) is the sample time again, however long the file.
///
///   MatroskaClock(44100).TickNanoseconds() == 22675     (a sample frame has 22675.74 ns)
///   MatroskaClock(44100).Ticks(44100)      == 44101     (1.000010175 s; × 44100 = 44100.45)
class MatroskaClock {
 public:
  /// Sample frames per second, 1 to 10^9; outside of it the nearest of them.
  explicit MatroskaClock(unsigned int sampleRate)
      : m_sampleRate(sampleRate == 0             ? 1
                     : sampleRate > kNanoseconds ? kNanoseconds
                                                 : sampleRate),
        m_tick(kNanoseconds / m_sampleRate) {}

  std::uint64_t TickNanoseconds() const { return m_tick; }

  /// The tick nearest to a sample time, halves up; computed exactly, for any time below 2^63 sample frames.
  std::uint64_t Ticks(std::uint64_t sampleFrames) const { return Scaled(sampleFrames, m_sampleRate * m_tick); }

  /// The nanosecond nearest to a sample time, in the same manner; modulo 2^64, which is 584 years.
  std::uint64_t Nanoseconds(std::uint64_t sampleFrames) const { return Scaled(sampleFrames, m_sampleRate); }

  /// A sample time in ticks, not rounded to whole ones.
  double ExactTicks(std::uint64_t sampleFrames) const {
    return static_cast<double>(sampleFrames) * kNanoseconds / static_cast<double>(m_sampleRate * m_tick);
  }

 private:
  static constexpr std::uint32_t kNanoseconds = 1'000'000'000;

  /// round(value × 10^9 ÷ divisor), divisor <= 10^9, without the product that would not fit.
  static std::uint64_t Scaled(std::uint64_t value, std::uint64_t divisor) {
    return value / divisor * kNanoseconds + (value % divisor * kNanoseconds + divisor / 2) / divisor;
  }

  std::uint64_t m_sampleRate;
  std::uint64_t m_tick;
};
