#pragma once

#include "Host/Audio/Metadata/SoundMetadata.h"

#include <sndfile.h>
#include <functional>
#include <string>

/// What to do with an ID3v2 tag that a chunk holds.
using OnId3v2 = std::function<void(std::string tag)>;

/// Adds what libsndfile knows of a file that it has open: Broadcast WAV, cue points and markers, chunks (RIFF INFO,
/// iXML, aXML, XMP, AIFF texts), else the texts that it offers for every format. Names the chunks that are omitted.
void AddSndfileMetadata(SNDFILE* file, const SF_INFO& info, const OnId3v2& onId3v2, SoundMetadata& metadata);
