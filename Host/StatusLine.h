#pragma once

/// What goes to standard error: messages, and on a terminal one line that is written over and over.

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

/// The text with question marks in place of control characters, as file names may have them: it is one line then, and
/// gives a terminal no commands.
std::string WithoutControls(std::string text);

/// "rhohost: TEXT" and a line feed on standard error, without control characters. What cannot be written there is
/// dropped. Asks for no memory, as it may be the lack of that what is to be told.
void Tell(std::string_view text);

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
