#pragma once

/// From the samples of a sound to what the encoder takes: interleaved little-endian integers of 16 or 24 bits (two or
/// three bytes) at the target's rate.
///
///     SampleConverter converter(input.Format(), 48000, 16);
///     Write(converter.Convert(block));  // for every block, whatever their sizes: the bytes do not depend on the cuts
///     Write(converter.Finish());        // once, at the end
///
/// What needs no change is not touched: 16-bit samples for a 16-bit target at the same rate are handed through without
/// a copy, 16 and 24-bit samples come out of a 24-bit target bit for bit.
///
/// Whenever bits are lost (to fewer bits, from floating point, after a change of rate) triangular dither of +-1 step is
/// added before rounding: the error then is noise that does not depend on the signal, instead of distortion. Whether
/// bits are lost is judged by the format, never by looking at the samples. libsoxr could dither too, but only for 16
/// bits and with a seed from the clock; here the noise comes from a fixed seed, so that equal input gives equal bytes.
///
/// The layout of channels is decided elsewhere; channels are neither mixed nor reordered.

#include "Host/Encode/SoundFormat.h"

#include <cstdint>
#include <memory>
#include <span>

class SampleConverter {
 public:
  using Bytes = std::span<const unsigned char>;

  /// Converts from `source` to `rate` sample frames per second (at least 1) of `bits` bits (16 or 24). Throws Failure
  /// when the rate converter cannot be made, as for channel counts or ratios beyond its means.
  SampleConverter(const SoundFormat& source, unsigned int rate, unsigned int bits);
  ~SampleConverter();

  SampleConverter(const SampleConverter&) = delete;
  SampleConverter& operator=(const SampleConverter&) = delete;

  /// The bytes that are ready once `block` has been taken in; with a change of rate they lag behind and may be none.
  /// They are valid until the next call, and at most until the block's own memory changes. Blocks of any size
  /// do; working memory follows the size of the largest one, 64 KiB are a good choice.
  Bytes Convert(const SampleBlock& block);

  /// The rest, after the last block; nothing unless the rate changes. In all, the output then has exactly
  /// OutputFrames(input's frames) sample frames. Convert() and Finish() may not be called again.
  Bytes Finish();

  /// Samples so far that exceeded full scale and were set to it: beyond -1 or 1 in floating-point sources or after a
  /// change of rate; not-a-number counts too, and becomes 0.
  std::uint64_t ClippedSamples() const;

  /// True when samples come out as they went in, only packed differently.
  bool IsExact() const;

  /// Length after the change from rate `from` to rate `to`, rounded to the nearest frame: round(frames × to / from).
  /// Example: OutputFrames(44100, 44100, 48000) == 48000.
  static std::uint64_t OutputFrames(std::uint64_t frames, unsigned int from, unsigned int to);

 private:
  class Pipeline;
  std::unique_ptr<Pipeline> m_pipeline;
};
