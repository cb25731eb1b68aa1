#pragma once

/// What a sound says beside its samples, as elements of a Matroska file.

#include "Host/Audio/Metadata/SoundMetadata.h"

#include <matroska/KaxAttachments.h>
#include <matroska/KaxChapters.h>
#include <matroska/KaxTags.h>

/// The functions fill an empty element, and leave it empty where there is nothing to put in.
void FillTags(libmatroska::KaxTags& element, const SoundMetadata& metadata);
void FillChapters(libmatroska::KaxChapters& element, const SoundMetadata& metadata);
void FillAttachments(libmatroska::KaxAttachments& element, const SoundMetadata& metadata);
