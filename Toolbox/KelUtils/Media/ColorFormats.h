#pragma once

/// The pixel formats of uncompressed video frames, their properties, and which conversions exist between them. This
/// file converts nothing. All results come from one table of the formats (ColorFormatTable.h) and a few rules.

#include "RHOAPI/RHOAPIExport.h"

/// Names end in A or B where two formats have the same components in swapped order. The module does not lay out frames
/// of the 16-bit RGB formats and of formats with a number for a name, except 17, a single plane of unspecified content.
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

/// Bytes from one pixel to the next in the first plane. A format without such a size (7, 8, 12, 14 to 16, 25 to 29 and
/// above 32) is a caller error: an assertion report that names GetBytesPerPixel ends the process.
///   GetBytesPerPixel(kColorFormatARGB64x10A) == 8
RHOAPI_EXPORT unsigned int GetBytesPerPixel(EColorFormats format);

/// Bits of one component: 8, 10, 12 or 16; 0 for format 17 and above 32.
RHOAPI_EXPORT unsigned int KelGetBitResolution(EColorFormats format);

/// Whether the format is planar YUV. False above 32, as are all results below except KelAreColorFormatsCompatible's.
RHOAPI_EXPORT bool KelIsPlanarYuvFormat(EColorFormats format);

/// Whether the format is RGB, with or without alpha.
RHOAPI_EXPORT bool KelIsARGBFormat(EColorFormats format);

/// Whether pixels can be converted from `from` to `to`. There is no conversion from most formats to themselves.
///   KelCanDoColorConversion(kColorFormatARGB64x12A, kColorFormatARGB64x10A) is true, the opposite direction false
RHOAPI_EXPORT bool KelCanDoColorConversion(EColorFormats from, EColorFormats to);

/// Whether pixels of `from` can be used for `to`: the formats are equal, even if unknown, or there is a conversion.
RHOAPI_EXPORT bool KelAreColorFormatsCompatible(EColorFormats from, EColorFormats to);

/// Whether both are RGB formats of the same bit resolution, so that they differ in the order of components at most.
///   KelAreComponentsSwapped(kColorFormatARGB64x12A, kColorFormatARGB64x12B)
RHOAPI_EXPORT bool KelAreComponentsSwapped(EColorFormats a, EColorFormats b);

/// Whether both have four components in opposite orders, of any bit resolutions.
///   KelGetChangeBitResolutionSwapComponentOrder(kColorFormatARGB32A, kColorFormatARGB64x10B)
RHOAPI_EXPORT bool KelGetChangeBitResolutionSwapComponentOrder(EColorFormats a, EColorFormats b);
