#pragma once

/// Appending raw data to files, for debugging: repeated calls build one stream that other programs can read. Failures
/// to open or write are ignored.

#include "RHOAPI/RHOAPIExport.h"

/// Appends `size` bytes to the file `path`, and creates it when it is missing. Appends nothing when `size` is not
/// positive or `data` is null.
RHOAPI_EXPORT void WriteBitstream(char* path, unsigned char* data, int size);

/// Appends one planar 4:2:0 frame to the file `path`, and creates it when it is missing: `height` rows of `width`
/// bytes, `yStride` bytes apart in memory, then for `u` and for `v` half as many rows of half the size (odd numbers
/// rounded up), `uvStride` bytes apart. The file has no gaps. Omits a null plane, and all planes when a size is not
/// positive.
///   5 × 3 pixels are 15 + 6 + 6 bytes
RHOAPI_EXPORT void WriteFrame(char* path, unsigned char* y, int yStride, unsigned char* u, unsigned char* v,
                              int uvStride, int width, int height);
