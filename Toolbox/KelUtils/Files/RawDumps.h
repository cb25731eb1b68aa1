#pragma once

/// Appending raw data to files, for debugging: repeated calls build up one stream, which other programs can read as it
/// is. Failures to open or write go unseen, and nothing is said of them.

#include "RHOAPI/RHOAPIExport.h"

/// Appends `size` bytes to the file `path`, which is made where missing; none when `size` is not positive or `data`
/// null.
RHOAPI_EXPORT void WriteBitstream(char* path, unsigned char* data, int size);

/// Appends one planar 4:2:0 frame to the file `path`, which is made where missing: `height` rows of `width` bytes,
/// `yStride` bytes apart, then for `u` and then `v` the halves of both (the larger half of an odd size), `uvStride`
/// bytes apart, without gaps. A null plane is left out; so are all where a size is not positive.
///   5 × 3 pixels are 15 + 6 + 6 bytes
RHOAPI_EXPORT void WriteFrame(char* path, unsigned char* y, int yStride, unsigned char* u, unsigned char* v,
                              int uvStride, int width, int height);
