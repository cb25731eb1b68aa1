#pragma once

#include "Host/Audio/InputBytes.h"

#include <cstdint>
#include <optional>

/// How long a complete file is according to its header.
struct FileLength {
  std::uint64_t bytes;
  bool endIsMisread;  ///< libsndfile takes bytes behind that end for samples
};

/// The length that the header states, for formats with a header of their own (not made of chunks): AVR, MAT4, MAT5, MPC
/// 2000, NIST, SDS, VOC, WVE, XI. libsndfile reads a truncated file of these formats as a shorter sound. None in other
/// formats, and where the header makes no sense. Throws Failure like InputBytes::ReadAt, and for VOC files with more
/// than one block of sound.
std::optional<FileLength> StatedFileLength(InputBytes& bytes);

/// Whether the format does not state a length, so that a truncated file looks like a complete one: PAF, PVF, IRCAM, and
/// XI by writers that leave the size zero.
bool LacksLength(InputBytes& bytes);
