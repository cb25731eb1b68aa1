#include "Host/Text/StatusLine.h"

#include <unistd.h>
#include <cstdio>
#include <string_view>

namespace {

constexpr auto kUpdateInterval = std::chrono::milliseconds(200);

void WriteToStandardError(std::string_view text) { std::fwrite(text.data(), 1, text.size(), stderr); }

}  // namespace

StatusLine::StatusLine(bool isWanted)
    : m_isShown(isWanted && isatty(STDERR_FILENO) == 1), m_nextUpdate(Clock::now() + kUpdateInterval) {}

StatusLine::~StatusLine() { Clear(); }

bool StatusLine::IsDue() {
  if (!m_isShown || Clock::now() < m_nextUpdate) {
    return false;
  }
  m_nextUpdate = Clock::now() + kUpdateInterval;
  return true;
}

void StatusLine::Show(const std::string& text) { Write("rhohost: " + text); }

void StatusLine::Clear() {
  if (m_shownLength != 0) {
    Write("");
    WriteToStandardError("\r");
  }
}

void StatusLine::Write(const std::string& line) {
  std::string text = "\r" + line;
  if (line.size() < m_shownLength) {
    text.append(m_shownLength - line.size(), ' ');
  }
  WriteToStandardError(text);
  m_shownLength = line.size();
}
