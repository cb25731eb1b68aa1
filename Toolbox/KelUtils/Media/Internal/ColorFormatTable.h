#pragma once

/// The table of pixel formats. Internal to ColorFormats and Images.

#include "Toolbox/KelUtils/Media/ColorFormats.h"

enum class ColorFamily : unsigned char { kOther, kRgb, kPlanarYuv };

/// The order of components in RGB formats with four of them.
enum class ComponentOrder : unsigned char { kNone, kA, kB };

/// The layout of a frame in memory.
enum class FrameLayout : unsigned char {
  kUnsupported,
  kFullPlanesByHand,        ///< three planes of full height, in records that the module does not lay out
  kOpaque,                  ///< one plane of unspecified content: neither sized nor copied
  kPacked,                  ///< one plane
  kPackedGroups,            ///< one plane, each started run of kPixelsPerGroup in kBytesPerGroup
  kQuarterChromaWithAlpha,  ///< 4:2:0: Y, two planes of half width and height, perhaps one of alpha as large as Y
  kQuarterChroma,           ///< 4:2:0: Y, two planes of half width and height
  kHalfChroma,              ///< 4:2:2: Y, two planes of half width
  kFullPlanesWithAlpha,     ///< 4:4:4: three equal planes, and a fourth in the size of a frame with alpha
  kFullPlanes,              ///< 4:4:4: three equal planes
};

struct ColorFormat {
  unsigned char bytesPerPixel;  ///< 0 if not specified
  unsigned char bits;
  ColorFamily family;
  ComponentOrder order;
  FrameLayout layout;
};

/// The entry of `format`; for an unknown format an entry without bytes, bits, family, order and layout.
const ColorFormat& DescribeColorFormat(EColorFormats format);

/// Sizes of kPackedGroups.
inline constexpr int kPixelsPerGroup = 48;
inline constexpr int kBytesPerGroup = 128;
