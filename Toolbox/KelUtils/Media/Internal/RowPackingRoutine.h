#pragma once

/// Packs one row: `pixelPairs` pairs of pixels, 16 bytes each, from `source` to `destination`, which may be the same.
/// No state is kept between rows and no alignment is needed.
///
/// This routine writes the four 16-bit components of each pixel, which are in the machine's byte order, most
/// significant byte first: the b64a layout, 8 bytes per pixel. Its definition is weak: a routine of the same name in
/// another object of the module, for a certain processor or another packed layout, replaces it at link time.
extern "C" void ProResb64aPackingAsm(const unsigned char* source, unsigned char* destination, int pixelPairs);
