#include "Host/StatusLine.h"

#include <unistd.h>
#include <algorithm>
#include <cstdio>
#include <utility>

namespace {

constexpr auto kUpdateInterval = std::chrono::milliseconds(200);

void WriteToStandardError(const std::string& text) { std::fwrite(text.data(), 1, text.size(), stderr); }

}  // namespace

std::string WithoutControls(std::string text) {
  const auto isControl = [](char character) {
    return static_cast<unsigned char>(character) < ' ' || character == 0x7F;
  };
  std::replace_if(text.begin(), text.end(), isControl, '?');
  return text;
}

void Tell(std::string text) { WriteToStandardError("rhohost: " + WithoutControls(std::move(text)) + "\n"); }

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
