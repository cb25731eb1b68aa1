#include "Host/CommandLine/Progress.h"

#include <fmt/format.h>

#include <algorithm>

std::string TimeText(std::uint64_t sampleFrames, unsigned int sampleRate) {
  // Whole seconds first: 1000 times all sample frames could overflow. The rest is rounded.
  const std::uint64_t milliseconds =
      sampleFrames / sampleRate * 1000 + (sampleFrames % sampleRate * 1000 + sampleRate / 2) / sampleRate;
  const std::uint64_t seconds = milliseconds / 1000;
  return fmt::format("{}:{:02}:{:02}.{:03}", seconds / 3600, seconds / 60 % 60, seconds % 60, milliseconds % 1000);
}

std::string RoughTimeText(double seconds) {
  // Clamped: converting a larger or negative double would be undefined behaviour.
  const auto whole = static_cast<std::uint64_t>(std::clamp(seconds, 0.0, 1e9));
  return fmt::format("{}:{:02}", whole / 60, whole % 60);
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
  // Of this pass alone: verifying is faster than encoding.
  const double speed = TimesRealTime(sampleFrames, m_passBegin);
  // Divides first: 100 times the sample frames could overflow.
  const std::string done =
      m_sampleFrames && *m_sampleFrames != 0
          ? fmt::format("{} %", std::min<std::uint64_t>(100, sampleFrames / (*m_sampleFrames / 100 + 1)))
          : TimeText(sampleFrames, m_sampleRate);
  std::string line = fmt::format("{}{}, {:.0f} x real time", m_pass, done, speed);
  if (m_sampleFrames && speed > 0) {
    // An input may be longer than its header says.
    const auto left = static_cast<double>(*m_sampleFrames - std::min(sampleFrames, *m_sampleFrames));
    line += ", " + RoughTimeText(left / m_sampleRate / speed) + " left";
  }
  m_line.Show(line);
}

double Progress::TimesRealTime(std::uint64_t sampleFrames, Clock::time_point begin) const {
  const double elapsed = std::chrono::duration<double>(Clock::now() - begin).count();
  return elapsed > 0 ? static_cast<double>(sampleFrames) / m_sampleRate / elapsed : 0;
}
