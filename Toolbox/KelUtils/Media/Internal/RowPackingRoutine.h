#pragma once

/// Packs `pixelPairs` pairs of pixels, 16 bytes each, from `source` to `destination`. One row in, one row out; nothing
/// is kept between rows. No alignment is needed, and the two may be the same row.
///
/// The routine here writes each pixel's four 16-bit components (in the machine's byte order in memory) in the order
/// they come in, most significant byte first: the b64a layout, 8 bytes a pixel. It is a weak definition: one of the
/// same name in another object of the module, made for one processor perhaps or for another packed layout, takes its
/// place at link time.
extern "C" void ProResb64aPackingAsm(const unsigned char* source, unsigned char* destination, int pixelPairs);
