#pragma once

/// The metadata of a sound as elements of a Matroska file.

#include "Host/Audio/Metadata/SoundMetadata.h"

#include <matroska/KaxAttachments.h>
#include <matroska/KaxChapters.h>
#include <matroska/KaxTags.h>

/// The functions fill an empty element, and leave it empty without such metadata.
void FillTags(libmatroska::KaxTags& element, const SoundMetadata& metadata);
void FillChapters(libmatroska::KaxChapters& element, const SoundMetadata& metadata);
void FillAttachments(libmatroska::KaxAttachments& element, const SoundMetadata& metadata);
