#pragma once

/// Converts the samples of a sound to what the encoder takes: interleaved little-endian integers of 16 or 24 bits (two
/// or three bytes) at the target's rate.
///
///     SampleConverter converter(input.Format(), 48000, 16);
///     Write(converter.Convert(block));  // for every block; the bytes do not depend on the sizes of the blocks
///     Write(converter.Finish());        // once, at the end
///
/// Samples that need no change are not touched: 16-bit samples for a 16-bit target at the same rate are passed through
/// without a copy, and 16 and 24-bit samples come out of a 24-bit target bit for bit.
///
/// Where bits are lost (fewer bits, floating point, a change of rate), triangular dither of +-1 step is added before
/// rounding, so that the error is noise that does not depend on the signal instead of distortion. Whether bits are lost
/// follows from the format alone, never from the samples. libsoxr could dither too, but only for 16 bits and with a
/// seed from the clock; this dither has a fixed seed, so that equal input gives equal bytes.
///
/// Channels are neither mixed nor reordered here.

#include "Host/Audio/Resampler.h"
#include "Host/Audio/SamplePacker.h"
#include "Host/Encode/SoundFormat.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

class SampleConverter {
 public:
  using Bytes = std::span<const unsigned char>;

  /// Converts from `source` to `rate` sample frames per second (at least 1) of `bits` bits (16 or 24). Throws Failure
  /// when libsoxr cannot convert that number of channels or that ratio of rates.
  SampleConverter(const SoundFormat& source, unsigned int rate, unsigned int bits);

  SampleConverter(const SampleConverter&) = delete;
  SampleConverter& operator=(const SampleConverter&) = delete;

  /// Takes in `block` and returns the bytes that are ready; with a change of rate they lag behind and may be none. The
  /// bytes are valid until the next call, and no longer than the block's own memory. Blocks may have any size; working
  /// memory grows with the largest one, 64 KiB are a good choice.
  Bytes Convert(const SampleBlock& block);

  /// Returns the rest, after the last block; nothing unless the rate changes. The whole output then has exactly
  /// OutputFrames(input's frames) sample frames. Neither Convert() nor Finish() may be called afterwards.
  Bytes Finish();

  /// Samples so far that exceeded full scale and were clipped: beyond -1 or 1 in floating-point sources or after a
  /// change of rate. Not-a-number counts too, and becomes 0.
  std::uint64_t ClippedSamples() const { return m_packer.ClippedSamples(); }

  /// True when a converter with these arguments changes no sample's value: samples are only packed differently.
  static bool IsExact(const SoundFormat& source, unsigned int rate, unsigned int bits);

  /// Length after the change from rate `from` to rate `to`, rounded to the nearest frame: round(frames × to / from).
  /// Example: OutputFrames(44100, 44100, 48000) == 48000.
  static std::uint64_t OutputFrames(std::uint64_t frames, unsigned int from, unsigned int to);

 private:
  void Append(const void* samples, std::size_t frames);

  std::size_t m_channels;
  std::size_t m_frameSize;  ///< bytes of an input frame
  SamplePacker m_packer;
  std::optional<Resampler> m_resampler;  ///< only where the rate changes
  Resampler::Sink m_append = [this](const double* samples, std::size_t frames) { Append(samples, frames); };
  std::vector<unsigned char> m_bytes;
};
