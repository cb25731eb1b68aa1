#pragma once

/// Packing of 64-bit ARGB images, row by row.

#include "RHOAPI/RHOAPIExport.h"
#include "Toolbox/KelUtils/Media/Images.h"

/// Packs every row of `src`, an image of one of the 64-bit ARGB formats, into the row of `dst` with the same number,
/// or, when their `flipped` differ, in reverse order. An odd number of row bytes counts as one less, and the last pixel
/// of an odd width is left out. Formats are not checked; `dst` must have space for the packed rows of `src`. Does
/// nothing when an image or its plane 0 is null, or `src` has no rows or fewer than two pixels per row.
RHOAPI_EXPORT void ProResb64aPacking(KelImage_t const* src, KelImage_t* dst);
