#pragma once

/// The status line of one encoding, and times as text.

#include "Host/Text/StatusLine.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

/// Sample frames as a time: TimeText(66150, 44100) == "0:00:01.500".
std::string TimeText(std::uint64_t sampleFrames, unsigned int sampleRate);

/// A time without fractions, for estimates: RoughTimeText(42.3) == "0:42".
std::string RoughTimeText(double seconds);

/// The status line of one sound: part done, speed, time left.
class Progress {
 public:
  /// `sampleFrames` is the length of the whole, unknown for some inputs.
  Progress(bool isWanted, std::optional<std::uint64_t> sampleFrames, unsigned int sampleRate);

  /// Shows that so many sample frames are done, a few times a second however often it is called. `pass` goes in front;
  /// where it changes, the sound begins anew.
  void Update(std::uint64_t sampleFrames, const char* pass = "");

  /// Clears the line, if there is one.
  void Clear() { m_line.Clear(); }

  /// Seconds since the beginning, in all passes together.
  double Seconds() const { return std::chrono::duration<double>(Clock::now() - m_begin).count(); }

 private:
  using Clock = std::chrono::steady_clock;

  /// Seconds of sound for each second since `begin`; 0 if no time has passed.
  double TimesRealTime(std::uint64_t sampleFrames, Clock::time_point begin) const;

  StatusLine m_line;
  std::optional<std::uint64_t> m_sampleFrames;
  unsigned int m_sampleRate;
  Clock::time_point m_begin = Clock::now();
  std::string m_pass;
  Clock::time_point m_passBegin = m_begin;
};
