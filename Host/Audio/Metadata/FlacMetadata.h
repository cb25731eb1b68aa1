#pragma once

#include "Host/Audio/Metadata/MetadataBytes.h"
#include "Host/Audio/Metadata/SoundMetadata.h"

/// Adds what a FLAC file has: Vorbis comments, pictures, the cue sheet as chapters. `start` is where the FLAC begins,
/// behind an ID3v2 tag. What libFLAC cannot read is omitted.
void AddFlacMetadata(MetadataBytes& bytes, std::uint64_t start, SoundMetadata& metadata);
