#include "Host/Audio/TestSignal.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

constexpr std::size_t kFramesPerBlock = 1024;
constexpr double kAmplitude = 0.5;
/// Pitch in Hz at which the first channel begins; each further channel begins that much higher.
constexpr double kLowestPitch = 55.0;
/// Cycles per sample at the end: a little below the Nyquist frequency of 0.5.
constexpr double kHighestStep = 0.45;

}  // namespace

TestSignal::TestSignal(unsigned int rate, unsigned int channels, double seconds)
    : m_format{.name = "test signal",
               .sampleRate = rate,
               .channels = channels,
               .sampleType = SampleType::kDouble,
               .significantBits = 53,
               .frames = static_cast<std::uint64_t>(std::llround(seconds * rate))} {
  for (unsigned int channel = 0; channel < channels; ++channel) {
    const double step = kLowestPitch * (channel + 1) / rate;
    // The step grows by the same factor with each sample, and reaches kHighestStep after the last one.
    m_sweeps.push_back({step, std::pow(kHighestStep / step, 1 / std::max(seconds * rate, 1.0))});
  }
}

SampleBlock TestSignal::Read(SampleMemory& memory) {
  const auto frames = static_cast<std::size_t>(std::min<std::uint64_t>(kFramesPerBlock, *m_format.frames - m_position));
  auto* const samples = reinterpret_cast<double*>(memory.Reserve(frames * m_sweeps.size() * sizeof(double)));
  double* sample = samples;
  for (std::size_t frame = 0; frame < frames; ++frame) {
    for (Sweep& sweep : m_sweeps) {
      *sample++ = kAmplitude * std::sin(2 * std::numbers::pi * sweep.phase);
      sweep.phase += sweep.step;
      // A phase below 1 keeps its precision however long the signal is.
      sweep.phase -= std::floor(sweep.phase);
      sweep.step *= sweep.growth;
    }
  }
  m_position += frames;
  return {samples, frames};
}
