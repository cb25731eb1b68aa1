#include "Host/Text/StatusLine.h"

#include "Host/Text/Messages.h"
#include "Host/Text/Utf8.h"

#include <sys/ioctl.h>
#include <unistd.h>
#include <algorithm>
#include <cstdio>

namespace {

/// Five times a second: often enough to read, rare enough to cost nothing.
constexpr auto kUpdateInterval = std::chrono::milliseconds(200);

/// One column less than the terminal has: after a character in the last column some terminals begin a new line.
std::size_t UsableColumns() {
  constexpr std::size_t kUsualColumns = 80;
  winsize size{};
  const bool isKnown = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0;
  return (isKnown ? size.ws_col : kUsualColumns) - 1;
}

}  // namespace

StatusLine::StatusLine(bool isWanted)
    : m_isShown(isWanted && isatty(STDERR_FILENO) == 1), m_nextUpdate(Clock::now() + kUpdateInterval) {}

StatusLine::~StatusLine() { Clear(); }

bool StatusLine::IsDue() {
  const std::lock_guard lock(m_mutex);
  if (!m_isShown || Clock::now() < m_nextUpdate) {
    return false;
  }
  m_nextUpdate = Clock::now() + kUpdateInterval;
  return true;
}

void StatusLine::Show(std::string_view text) {
  const std::lock_guard lock(m_mutex);
  if (m_isShown) {
    m_line = WithoutControls("rhohost: " + std::string(text));
    Draw();
  }
}

void StatusLine::PrintAbove(std::string_view message) {
  const std::lock_guard lock(m_mutex);
  Erase();
  PrintMessage(message);
  if (!m_line.empty()) {
    Draw();
  }
}

void StatusLine::Clear() {
  const std::lock_guard lock(m_mutex);
  Erase();
  m_line.clear();
}

// The terminal may have been resized since the line was last drawn: spaces beyond its edge would begin a new line.
void StatusLine::Draw() {
  const std::size_t usable = UsableColumns();
  const std::string_view visible = CutToColumns(m_line, usable);
  const std::size_t columns = CountColumns(visible);
  const std::size_t toClear = std::max(std::min(m_columnsShown, usable), columns) - columns;
  std::string text("\r");
  text.append(visible).append(toClear, ' ');
  std::fwrite(text.data(), 1, text.size(), stderr);
  m_columnsShown = columns;
}

void StatusLine::Erase() {
  if (m_columnsShown != 0) {
    const std::string text = '\r' + std::string(std::min(m_columnsShown, UsableColumns()), ' ') + '\r';
    std::fwrite(text.data(), 1, text.size(), stderr);
    m_columnsShown = 0;
  }
}
