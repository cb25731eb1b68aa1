#pragma once

/// What the toolbox knows about each pixel format, once. Internal to ColorFormats and Images.

#include "Toolbox/KelUtils/Media/ColorFormats.h"

enum class ColorFamily : unsigned char { kOther, kRgb, kPlanarYuv };

/// Of the RGB formats with four components: which of the two orders they come in.
enum class ComponentOrder : unsigned char { kNone, kA, kB };

/// How a frame lies in memory.
enum class FrameLayout : unsigned char {
  kUnsupported,
  kFullPlanesByHand,        ///< three planes of full height, as kFullPlanes, for records that others lay out
  kOpaque,                  ///< one plane whose contents are not known here: neither sized nor copied
  kPacked,                  ///< one plane
  kPackedGroups,            ///< one plane, each started run of kPixelsPerGroup in kBytesPerGroup
  kQuarterChromaWithAlpha,  ///< 4:2:0: Y, two planes of half width and height, perhaps one of alpha as large as Y
  kQuarterChroma,           ///< 4:2:0: Y, two planes of half width and height
  kHalfChroma,              ///< 4:2:2: Y, two planes of half width
  kFullPlanesWithAlpha,     ///< 4:4:4: three equal planes, a fourth where a frame's size is asked for with alpha
  kFullPlanes,              ///< 4:4:4: three equal planes
};

struct ColorFormat {
  unsigned char bytesPerPixel;  ///< 0: none known
  unsigned char bits;
  ColorFamily family;
  ComponentOrder order;
  FrameLayout layout;
};

/// The entry of `format`; for an unknown one an entry without bytes, bits, family, order and layout.
const ColorFormat& DescribeColorFormat(EColorFormats format);

/// Sizes of kPackedGroups.
inline constexpr int kPixelsPerGroup = 48;
inline constexpr int kBytesPerGroup = 128;
