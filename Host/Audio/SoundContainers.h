#pragma once

/// Where the samples lie in a container, and how many bytes of them its header states. libsndfile reads a truncated
/// file, or one whose writer could not know the size yet, as a shorter sound; a host that must tell a complete sound
/// from a truncated one has to read the header itself.
///
/// Known are WAV (RIFF, RIFX, RF64, BW64), W64, AIFF and AIFC, CAF, 8SVX and 16SV, and AU.

#include "Host/Audio/InputBytes.h"

#include <cstdint>
#include <optional>

/// The part of a sound file that holds the samples.
struct SampleData {
  std::uint64_t start = 0;  ///< position of the first sample's first byte

  /// Bytes of samples that the header states. None where it leaves the size open: by the value that the format
  /// reserves, or by those that programs leave when they write to a pipe (0, 7FFFFFFF, FFFFFFFF and their neighbours).
  std::optional<std::uint64_t> size;

  bool isLittleEndianWav = false;  ///< RIFF, RF64 or BW64
  bool isCaf = false;
  bool isMpeg = false;                    ///< WAV or W64 around MPEG audio
  bool endIsMisread = false;              ///< libsndfile may read on after the samples: W64, AU, AIFF with an offset
  std::optional<std::uint32_t> speakers;  ///< channel mask of a WAV or W64 file that has one
  /// Of a WAV or W64 file whose header has them: the highest bits of a sample that count, 0 where it does not say.
  unsigned int validBits = 0;
  bool isStreamable = true;  ///< the samples can be read front to back
};

/// Looks for the samples; none in other formats. Makes the bytes of BW64 those of RF64. Ends the bytes of a file where
/// its chunks end: an empty chunk name, or more than 1024 chunks. Throws Failure for a container without samples, and
/// like InputBytes::ReadAt.
std::optional<SampleData> FindSampleData(InputBytes& bytes);

/// Replaces the header of a WAV file or stream that leaves its size open by an RF64 header with the same chunks (up to
/// 1 MiB of them) and `size` bytes of samples, so that sounds beyond 32-bit sizes are read to their end. `data` is the
/// result of FindSampleData.
void SetWavSize(InputBytes& bytes, const SampleData& data, std::uint64_t size);

/// Sets the size of the samples in a CAF file or stream that leaves it open or is truncated, which libsndfile would
/// refuse. Does nothing if the samples begin beyond the first 1 MiB.
void SetCafSize(InputBytes& bytes, const SampleData& data, std::uint64_t size);
