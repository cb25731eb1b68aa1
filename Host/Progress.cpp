#include "Host/Progress.h"

#include <unistd.h>
#include <algorithm>
#include <array>
#include <cstdio>

namespace {

constexpr auto kUpdateInterval = std::chrono::milliseconds(200);

void WriteToStandardError(const std::string& text) { std::fwrite(text.data(), 1, text.size(), stderr); }

/// "0:42", without fractions, for estimates.
std::string RoughTimeText(double seconds) {
  std::array<char, 32> text{};
  const auto whole = static_cast<std::uint64_t>(std::clamp(seconds, 0.0, 1e9));
  std::snprintf(text.data(), text.size(), "%llu:%02u", static_cast<unsigned long long>(whole / 60),
                static_cast<unsigned int>(whole % 60));
  return text.data();
}

}  // namespace

void Tell(std::string text) {
  const auto isControl = [](char character) {
    return static_cast<unsigned char>(character) < ' ' || character == 0x7F;
  };
  std::replace_if(text.begin(), text.end(), isControl, '?');
  WriteToStandardError("rhohost: " + text + "\n");
}

std::string TimeText(std::uint64_t sampleFrames, unsigned int sampleRate) {
  const std::uint64_t milliseconds =
      sampleFrames / sampleRate * 1000 + (sampleFrames % sampleRate * 1000 + sampleRate / 2) / sampleRate;
  const std::uint64_t seconds = milliseconds / 1000;
  std::array<char, 48> text{};
  std::snprintf(text.data(), text.size(), "%llu:%02u:%02u.%03u", static_cast<unsigned long long>(seconds / 3600),
                static_cast<unsigned int>(seconds / 60 % 60), static_cast<unsigned int>(seconds % 60),
                static_cast<unsigned int>(milliseconds % 1000));
  return text.data();
}

Progress::Progress(bool isWanted, std::optional<std::uint64_t> sampleFrames, unsigned int sampleRate)
    : m_isShown(isWanted && isatty(STDERR_FILENO) == 1),
      m_sampleFrames(sampleFrames),
      m_sampleRate(sampleRate),
      m_nextUpdate(m_begin + kUpdateInterval) {}

Progress::~Progress() { Clear(); }

void Progress::Clear() {
  if (m_shownLength != 0) {
    Show("");
    WriteToStandardError("\r");
  }
}

void Progress::Update(std::uint64_t sampleFrames) {
  if (!m_isShown || Clock::now() < m_nextUpdate) {
    return;
  }
  m_nextUpdate = Clock::now() + kUpdateInterval;
  const double speed = TimesRealTime(sampleFrames);
  std::string line = "rhohost: ";
  if (m_sampleFrames && *m_sampleFrames != 0) {
    line += std::to_string(std::min<std::uint64_t>(100, sampleFrames / (*m_sampleFrames / 100 + 1))) + " %, ";
  } else {
    line += TimeText(sampleFrames, m_sampleRate) + ", ";
  }
  line += std::to_string(static_cast<unsigned long long>(speed)) + " x real time";
  if (m_sampleFrames && speed > 0) {
    const auto left = static_cast<double>(*m_sampleFrames - std::min(sampleFrames, *m_sampleFrames));
    line += ", " + RoughTimeText(left / m_sampleRate / speed) + " left";
  }
  Show(line);
}

double Progress::TimesRealTime(std::uint64_t sampleFrames) const {
  const double elapsed = std::chrono::duration<double>(Clock::now() - m_begin).count();
  return elapsed > 0 ? static_cast<double>(sampleFrames) / m_sampleRate / elapsed : 0;
}

void Progress::Show(const std::string& line) {
  std::string text = "\r" + line;
  if (line.size() < m_shownLength) {
    text.append(m_shownLength - line.size(), ' ');
  }
  WriteToStandardError(text);
  m_shownLength = line.size();
}
