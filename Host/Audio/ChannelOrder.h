#pragma once

/// Brings channels into the order of WAV and Matroska: front left, front right, center, LFE, back left, back right,
/// front left and right of center, back center, side left, side right. WAV, FLAC and most others have it already;
/// Vorbis and Opus have an order of their own, which libsndfile hands through, and CAF states one in the file.

#include <sndfile.h>
#include <cstddef>
#include <vector>

/// For each channel of the result the channel of the file that belongs there; empty when they agree or the file does
/// not say which channel is which.
std::vector<std::size_t> WavChannelOrder(SNDFILE* file, const SF_INFO& info);

/// Reorders `frames` sample frames of order.size() samples of `sampleSize` (1 to 8) bytes in place.
void ReorderChannels(void* samples, std::size_t frames, std::size_t sampleSize, const std::vector<std::size_t>& order);
