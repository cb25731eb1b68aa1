#include "Host/StatusLine.h"

#include <unistd.h>
#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace {

constexpr auto kUpdateInterval = std::chrono::milliseconds(200);

void WriteToStandardError(std::string_view text) { std::fwrite(text.data(), 1, text.size(), stderr); }

bool IsControl(char character) { return static_cast<unsigned char>(character) < ' ' || character == 0x7F; }

}  // namespace

std::string WithoutControls(std::string text) {
  std::replace_if(text.begin(), text.end(), IsControl, '?');
  return text;
}

void Tell(std::string_view text) {
  constexpr std::string_view kStart = "rhohost: ";
  std::array<char, 4096> line{};
  std::size_t held = kStart.copy(line.data(), kStart.size());
  for (const char character : text) {
    line[held++] = IsControl(character) ? '?' : character;
    if (held == line.size()) {
      WriteToStandardError({line.data(), held});
      held = 0;
    }
  }
  line[held++] = '\n';
  WriteToStandardError({line.data(), held});
}

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
