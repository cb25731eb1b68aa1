#pragma once

/// Packing images of 64-bit ARGB row by row.

#include "RHOAPI/RHOAPIExport.h"
#include "Toolbox/KelUtils/Media/Images.h"

/// Packs every row of `src`, an image of one of the 64-bit ARGB formats, into the row of `dst` with the same number,
/// where their `flipped` agree; else the last row of `src` goes first. Rows lie an even number of bytes apart: an odd
/// number of row bytes counts as one less. Neither format is looked at; `dst` must have room for `src`'s rows as they
/// are packed. An odd pixel at a row's end is left out. Nothing happens where an image or its plane 0 is null, or `src`
/// has no rows or less than two pixels in each.
RHOAPI_EXPORT void ProResb64aPacking(KelImage_t const* src, KelImage_t* dst);
