#pragma once

#include <chrono>
#include <cstddef>
#include <string>

/// The line that shows how far the work is. Only on a terminal; elsewhere, and when it is not wanted, nothing is
/// written. Ends with the line cleared. One thread uses it at a time.
class StatusLine {
 public:
  explicit StatusLine(bool isWanted);
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;
  ~StatusLine();

  /// Whether the line is shown and the last true answer is long enough ago for people to read on: a few times a second,
  /// however often it is asked.
  bool IsDue();

  /// Writes "rhohost: TEXT" in the place of the line.
  void Show(const std::string& text);

  /// Clears the line, if there is one.
  void Clear();

 private:
  using Clock = std::chrono::steady_clock;

  void Write(const std::string& line);

  bool m_isShown;
  Clock::time_point m_nextUpdate;
  std::size_t m_shownLength = 0;
};
