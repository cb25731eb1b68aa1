#pragma once

#include "Host/Audio/InputBytes.h"

#include <cstdint>
#include <optional>

/// The length in bytes that a complete file has according to its header, for formats with a header of their own (not
/// made of chunks): AVR, MAT4, MAT5, MPC 2000, NIST, SDS, VOC, WVE, XI. libsndfile reads a truncated file of these
/// formats as a shorter sound. None in other formats, and where the header makes no sense. Throws Failure like
/// InputBytes::ReadAt, and for VOC files with more than one block of sound.
std::optional<std::uint64_t> StatedFileLength(InputBytes& bytes);

/// Whether the format does not state a length, so that a truncated file looks like a complete one: PAF, PVF, IRCAM, and
/// XI by writers that leave the size zero.
bool LacksLength(InputBytes& bytes);
