#include "Host/TestSignal.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

constexpr std::size_t kFramesPerBlock = 1024;
constexpr double kAmplitude = 0.5;
constexpr double kLowestPitch = 55.0;
constexpr double kHighestPitchOfRate = 0.45;

}  // namespace

TestSignal::TestSignal(unsigned int rate, unsigned int channels, double seconds)
    : m_format{.sampleRate = rate,
               .channels = channels,
               .sampleType = SampleType::kDouble,
               .significantBits = 53,
               .frames = static_cast<std::uint64_t>(std::llround(seconds * rate))},
      m_seconds(seconds),
      m_samples(kFramesPerBlock * channels) {}

SampleBlock TestSignal::Read() {
  const auto frames = static_cast<std::size_t>(std::min<std::uint64_t>(kFramesPerBlock, *m_format.frames - m_position));
  auto sample = m_samples.begin();
  for (std::size_t frame = 0; frame < frames; ++frame) {
    const double seconds = static_cast<double>(m_position + frame) / m_format.sampleRate;
    for (unsigned int channel = 0; channel < m_format.channels; ++channel) {
      *sample++ = Sample(seconds, channel);
    }
  }
  m_position += frames;
  return {m_samples.data(), frames};
}

double TestSignal::Sample(double seconds, unsigned int channel) const {
  // The pitch rises by the same factor in every second, so the phase is the integral of an exponential.
  const double pitch = kLowestPitch * (channel + 1);
  const double growth = std::log(kHighestPitchOfRate * m_format.sampleRate / pitch) / m_seconds;
  const double cycles = pitch * std::expm1(growth * seconds) / growth;
  return kAmplitude * std::sin(2 * std::numbers::pi * cycles);
}
