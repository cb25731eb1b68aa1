#include "Host/CommandLine/Progress.h"

#include <algorithm>
#include <array>
#include <cstdio>

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

std::string RoughTimeText(double seconds) {
  std::array<char, 32> text{};
  const auto whole = static_cast<std::uint64_t>(std::clamp(seconds, 0.0, 1e9));
  std::snprintf(text.data(), text.size(), "%llu:%02u", static_cast<unsigned long long>(whole / 60),
                static_cast<unsigned int>(whole % 60));
  return text.data();
}

Progress::Progress(bool isWanted, std::optional<std::uint64_t> sampleFrames, unsigned int sampleRate)
    : m_line(isWanted), m_sampleFrames(sampleFrames), m_sampleRate(sampleRate) {}

void Progress::Update(std::uint64_t sampleFrames, const char* pass) {
  if (m_pass != pass) {
    m_pass = pass;
    m_passBegin = Clock::now();
  }
  if (!m_line.IsDue()) {
    return;
  }
  const double speed = TimesRealTime(sampleFrames, m_passBegin);
  std::string line = m_pass;
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
  m_line.Show(line);
}

double Progress::TimesRealTime(std::uint64_t sampleFrames) const { return TimesRealTime(sampleFrames, m_begin); }

double Progress::TimesRealTime(std::uint64_t sampleFrames, Clock::time_point begin) const {
  const double elapsed = std::chrono::duration<double>(Clock::now() - begin).count();
  return elapsed > 0 ? static_cast<double>(sampleFrames) / m_sampleRate / elapsed : 0;
}
