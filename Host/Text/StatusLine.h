#pragma once

#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>

/// A progress line on the terminal that standard error is connected to. Writes nothing when standard error is not a
/// terminal or the line is not wanted. The destructor clears the line. Any thread may call any member.
///
///     StatusLine line(!quiet);
///     line.Show("40 %");                                // "rhohost: 40 %"
///     line.PrintAbove("b.wav: is incomplete");          // the message, and below it the line again
class StatusLine {
 public:
  explicit StatusLine(bool isWanted);
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;
  ~StatusLine();

  /// True at most five times a second, and never when the line is not shown: asks whether a new text is worth showing.
  bool IsDue();

  /// Replaces the line with "rhohost: TEXT", cut to the present width of the terminal; without control characters.
  void Show(std::string_view text);

  /// Prints a message as PrintMessage does, above the line if one is shown.
  void PrintAbove(std::string_view message);

  /// Clears the line if one is shown.
  void Clear();

 private:
  using Clock = std::chrono::steady_clock;

  /// Writes m_line over what the terminal shows. The caller holds m_mutex, as for Erase.
  void Draw();
  /// Overwrites the line with spaces; m_line stays.
  void Erase();

  std::mutex m_mutex;
  bool m_isShown;
  Clock::time_point m_nextUpdate;
  std::string m_line;              ///< empty when no line is shown
  std::size_t m_columnsShown = 0;  ///< of the line on the terminal
};
