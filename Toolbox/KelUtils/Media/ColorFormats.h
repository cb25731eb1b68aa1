#pragma once

/// The pixel formats of uncompressed video frames, what is known of each, and which of them convert into which. No
/// pixel is converted here. Every answer comes from one table of the formats (ColorFormatTable.h) and a few rules.

#include "RHOAPI/RHOAPIExport.h"

/// Names end in A or B where two formats hold the same components in swapped order. Formats that are only numbered are
/// known to the conversion rules or by their bit resolution, but frames of them are not laid out here. The exception is
/// 17, one plane of contents unknown here; nor are frames of the 16-bit RGB formats laid out.
enum EColorFormats : unsigned int {
  kColorFormatRGB24A = 0,
  kColorFormatARGB32A = 1,
  kColorFormatRGB24B = 2,
  kColorFormatARGB32B = 3,
  kColorFormatRGB16A = 4,
  kColorFormatRGB16B = 5,
  kColorFormatYUV420Planar8 = 6,
  kColorFormat7 = 7,
  kColorFormat8 = 8,
  kColorFormatYUV422Packed8A = 9,
  kColorFormat10 = 10,
  kColorFormatYUV422Packed8B = 11,
  kColorFormat12 = 12,
  kColorFormatYUV444Planar8 = 13,
  kColorFormat14 = 14,
  kColorFormat15 = 15,
  kColorFormat16 = 16,
  kColorFormat17 = 17,
  kColorFormatARGB64x10A = 18,  ///< 64-bit formats: 10, 12 or 16 bits, each component in a 16-bit word
  kColorFormatARGB64x12A = 19,
  kColorFormatARGB64x16A = 20,
  kColorFormatARGB64x10B = 21,
  kColorFormatARGB64x12B = 22,
  kColorFormatARGB64x16B = 23,
  kColorFormatYUV444Planar10 = 24,
  kColorFormat25 = 25,
  kColorFormat26 = 26,
  kColorFormat27 = 27,
  kColorFormat28 = 28,
  kColorFormat29 = 29,
  kColorFormatYUV422Packed10 = 30,  ///< each started run of 48 pixels of a row in 128 bytes
  kColorFormatYUV420Planar10 = 31,
  kColorFormatYUV422Planar10 = 32,
};

/// Bytes from one pixel to the next in the (first) plane. A format without such a size (7, 8, 12, 14 to 16, 25 to 29
/// and above 32) is the caller's error: an assertion report that names GetBytesPerPixel ends the process.
///   GetBytesPerPixel(kColorFormatARGB64x10A) == 8
RHOAPI_EXPORT unsigned int GetBytesPerPixel(EColorFormats format);

/// Bits of one component: 8, 10, 12 or 16; 0 for format 17 and above 32.
RHOAPI_EXPORT unsigned int KelGetBitResolution(EColorFormats format);

/// Whether the format is one of planar YUV. False above 32, like the answers below, KelAreColorFormatsCompatible apart.
RHOAPI_EXPORT bool KelIsPlanarYuvFormat(EColorFormats format);

/// Whether the format is one of RGB, with or without alpha.
RHOAPI_EXPORT bool KelIsARGBFormat(EColorFormats format);

/// Whether there is a conversion of pixels in `from` into pixels in `to`. Most formats do not convert into themselves.
///   KelCanDoColorConversion(kColorFormatARGB64x12A, kColorFormatARGB64x10A), not the other way round
RHOAPI_EXPORT bool KelCanDoColorConversion(EColorFormats from, EColorFormats to);

/// Whether pixels in `from` can be used where `to` is wanted: the formats are equal, even if unknown, or convert.
RHOAPI_EXPORT bool KelAreColorFormatsCompatible(EColorFormats from, EColorFormats to);

/// Whether both are RGB formats of one bit resolution, so that going from one to the other moves components only.
///   KelAreComponentsSwapped(kColorFormatARGB64x12A, kColorFormatARGB64x12B)
RHOAPI_EXPORT bool KelAreComponentsSwapped(EColorFormats a, EColorFormats b);

/// Whether both have four components, in opposite order, whatever their bit resolutions.
///   KelGetChangeBitResolutionSwapComponentOrder(kColorFormatARGB32A, kColorFormatARGB64x10B)
RHOAPI_EXPORT bool KelGetChangeBitResolutionSwapComponentOrder(EColorFormats a, EColorFormats b);
