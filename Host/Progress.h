#pragma once

/// What people see of an encoding: one line on the terminal while it goes on, and texts for what it came to.

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

/// "rhohost: TEXT" and a line feed on standard error. Control characters, as file names may have them, become question
/// marks: a message is one line, and gives a terminal no commands. What cannot be written there is dropped.
void Tell(std::string text);

/// Sample frames as a time: TimeText(66150, 44100) == "0:00:01.500".
std::string TimeText(std::uint64_t sampleFrames, unsigned int sampleRate);

/// A line on standard error that is written over and over: part done, speed, time left. Only on a terminal; elsewhere,
/// and when it is not wanted, nothing is written. Ends with the line cleared.
class Progress {
 public:
  /// `sampleFrames` is the length of the whole, unknown for some inputs.
  Progress(bool isWanted, std::optional<std::uint64_t> sampleFrames, unsigned int sampleRate);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  /// Shows that so many sample frames are done, a few times a second however often it is called.
  void Update(std::uint64_t sampleFrames);

  /// Clears the line, if there is one.
  void Clear();

  /// How many times faster than the sound lasts `sampleFrames` were done.
  double TimesRealTime(std::uint64_t sampleFrames) const;

 private:
  using Clock = std::chrono::steady_clock;

  void Show(const std::string& line);

  bool m_isShown;
  std::optional<std::uint64_t> m_sampleFrames;
  unsigned int m_sampleRate;
  Clock::time_point m_begin = Clock::now();
  Clock::time_point m_nextUpdate;
  std::size_t m_shownLength = 0;
};
