#pragma once

/// Reads the metadata of a sound. Call these functions before the samples are read, while a stream's beginning is kept.
/// Damaged or unsupported metadata is omitted and named in the result; no function throws for it.

#include "Host/Audio/InputBytes.h"
#include "Host/Audio/Metadata/SoundMetadata.h"
#include "Host/Audio/SndfileIo.h"

#include <sndfile.h>

/// Of a FLAC file: Vorbis comments, pictures, the cue sheet.
SoundMetadata ReadFlacMetadata(InputBytes& bytes);

/// Of MPEG audio: ID3v2, APE and ID3v1 tags; of a stream, the ID3v2 tag at its beginning.
SoundMetadata ReadMpegMetadata(InputBytes& bytes);

/// Of a sound that libsndfile decodes. `io` must have opened `file` on `bytes`. Of an Ogg stream, there are the texts
/// that libsndfile knows.
SoundMetadata ReadMetadata(SNDFILE* file, const SF_INFO& info, SndfileIo& io, InputBytes& bytes);
