#pragma once

/// A sound for trying things out: in each channel a sine that rises from a pitch of that channel's own (55 Hz for the
/// first, 110 Hz for the second, ...) to just below the highest that the sample rate can carry, at half of full scale.
/// The same arguments give the same samples.

#include "Host/Encode/SoundFormat.h"

#include <cstdint>
#include <vector>

class TestSignal {
 public:
  /// `rate` sample frames per second and `channels`, both at least 1; a length of 0 `seconds` or more.
  TestSignal(unsigned int rate, unsigned int channels, double seconds);

  const SoundFormat& Format() const { return m_format; }

  /// The next sample frames; none at the end, then and ever after. Valid until the next call.
  SampleBlock Read();

 private:
  /// A sine whose pitch rises by the same factor from each sample to the next.
  struct Sweep {
    double step = 0;  ///< cycles per sample
    double growth = 1;
    double phase = 0;  ///< cycles, 0 to 1
  };

  SoundFormat m_format;
  std::vector<Sweep> m_sweeps;  ///< one a channel
  std::uint64_t m_position = 0;
  std::vector<double> m_samples;
};
