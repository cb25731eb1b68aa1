#pragma once

/// Change of sample rate by libsoxr at its very high quality (28 bits), on one thread. libsoxr and its thread library
/// are loaded when the first object is made: most sounds keep their rate, and a start of the program takes 0.25 ms
/// less.

#include "Host/Encode/SoundFormat.h"

#include <soxr.h>
#include <cstddef>
#include <functional>
#include <vector>

class Resampler {
 public:
  /// From `source`'s rate to `rate`. Throws Failure when libsoxr cannot do that, and when the rates are more than 64
  /// times apart: no sound is recorded like that, and memory would grow with the ratio.
  Resampler(const SoundFormat& source, unsigned int rate);
  ~Resampler();

  Resampler(const Resampler&) = delete;
  Resampler& operator=(const Resampler&) = delete;

  /// Takes pieces of the result: interleaved doubles, full scale from -1 to 1, which may exceed it. The samples are
  /// valid during the call.
  using Sink = std::function<void(const double* samples, std::size_t frames)>;

  /// Takes in some sample frames and hands on what is ready.
  void Process(const void* samples, std::size_t frames, const Sink& sink);

  /// Hands on the rest. The whole has exactly round(input's frames × ratio of the rates) sample frames.
  void Finish(const Sink& sink);

 private:
  /// One call into libsoxr, whose result goes to the sink; null samples mean the end of the input.
  struct Progress {
    std::size_t taken;
    std::size_t made;
  };
  Progress Step(const void* samples, std::size_t frames, const Sink& sink);

  std::size_t m_frameSize;     ///< bytes of an input frame
  std::vector<double> m_room;  ///< for one step's result
  soxr_t m_resampler = nullptr;
};
