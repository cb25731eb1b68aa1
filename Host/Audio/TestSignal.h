#pragma once

/// A signal for trials and tests: in each channel a sine sweep that rises from a pitch of that channel's own (55 Hz for
/// the first, 110 Hz for the second, ...) to 0.45 times the sample rate, at half of full scale. The same arguments give
/// the same samples.

#include "Host/Audio/SoundSource.h"

#include <cstdint>
#include <vector>

class TestSignal : public SoundSource {
 public:
  /// `rate` sample frames per second and `channels`, both at least 1; `seconds` is the length, at least 0.
  TestSignal(unsigned int rate, unsigned int channels, double seconds);

  const SoundFormat& Format() const override { return m_format; }
  const SoundMetadata& Metadata() const override { return m_metadata; }
  SampleBlock Read(SampleMemory& memory) override;
  std::vector<std::string> Notes() const override { return {}; }

 private:
  /// A sine whose pitch rises by the same factor from each sample to the next.
  struct Sweep {
    double step = 0;  ///< cycles per sample
    double growth = 1;
    double phase = 0;  ///< cycles, 0 to 1
  };

  SoundFormat m_format;
  SoundMetadata m_metadata;     ///< always empty
  std::vector<Sweep> m_sweeps;  ///< one a channel
  std::uint64_t m_position = 0;
};
