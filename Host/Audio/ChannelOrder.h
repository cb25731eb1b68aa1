#pragma once

/// Brings channels into the order of WAV and Matroska: front left, front right, center, LFE, back left, back right,
/// front left and right of center, back center, side left, side right. WAV, FLAC and most others have it already;
/// Vorbis and Opus have an order of their own, which libsndfile hands through, and CAF states one in the file.

#include <sndfile.h>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

struct ChannelOrder {
  /// For each channel of the result the channel of the file that belongs there; empty where they agree or the file does
  /// not say which channel is which.
  std::vector<std::size_t> sources;
  std::optional<std::uint32_t> speakers;  ///< a WAV channel mask; nothing where the file does not say
};

ChannelOrder WavChannelOrder(SNDFILE* file, const SF_INFO& info);

/// The channel mask that Vorbis, Opus and FLAC define for a number of channels; nothing where they define none.
std::optional<std::uint32_t> DefinedSpeakers(unsigned int channels);

/// Reorders `frames` sample frames of sources.size() samples of `sampleSize` (1 to 8) bytes in place.
void ReorderChannels(void* samples, std::size_t frames, std::size_t sampleSize,
                     const std::vector<std::size_t>& sources);
