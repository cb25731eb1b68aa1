#pragma once

/// Where the samples lie in the containers whose header says so, and how long they ought to be. libsndfile takes a file
/// that ends early, or a size that its writer could not know yet, for whatever is there; a host that must tell a whole
/// sound from a part of one has to look for itself.
///
/// Known are WAV (RIFF, RIFX, RF64, BW64), W64, AIFF and AIFC, CAF and AU.

#include "Host/Audio/InputBytes.h"

#include <cstdint>
#include <optional>
#include <vector>

/// The part of a sound file that holds the samples.
struct SampleData {
  std::uint64_t start = 0;  ///< position of the first sample's first byte

  /// Bytes of samples that the header promises. None where it leaves that open: by the value that the format reserves,
  /// or by those that programs leave when they write to a pipe (0, 7FFFFFFF, FFFFFFFF and their neighbours).
  std::optional<std::uint64_t> size;

  bool isLittleEndianWav = false;  ///< RIFF, RF64 or BW64
  bool isCaf = false;
  bool isW64 = false;
};

/// Looks for the samples; none in other formats, and where the chunks end before there are any. Throws Failure like
/// InputBytes::ReadAt.
std::optional<SampleData> FindSampleData(InputBytes& bytes);

/// Gives a WAV file or stream that leaves its size open a beginning that does not: RF64, the same chunks, `size` bytes
/// of samples. `data` must be what FindSampleData found. What a 32-bit size cannot say is thereby read to its end.
void SetWavSize(InputBytes& bytes, const SampleData& data, std::uint64_t size);

/// The same for a CAF file that leaves its size open or is shorter than it says, which libsndfile would refuse. Nothing
/// happens where the samples begin behind the first 1 MiB.
void SetCafSize(InputBytes& bytes, const SampleData& data, std::uint64_t size);
