#include "Toolbox/KelUtils/Media/ColorFormats.h"

#include "Toolbox/KelUtils/Media/Internal/ColorFormatTable.h"
#include "Toolbox/KelUtils/Platform/Internal/AssertionReport.h"

#include <algorithm>
#include <array>
#include <initializer_list>

namespace {

using enum ColorFamily;
using enum ComponentOrder;
using enum FrameLayout;

// Indexed by EColorFormats.
constexpr std::array<ColorFormat, 33> kFormats{{
    {3, 8, kRgb, kNone, kPacked},                        // kColorFormatRGB24A
    {4, 8, kRgb, kA, kPacked},                           // kColorFormatARGB32A
    {3, 8, kRgb, kNone, kPacked},                        // kColorFormatRGB24B
    {4, 8, kRgb, kB, kPacked},                           // kColorFormatARGB32B
    {2, 8, kRgb, kNone, kUnsupported},                   // kColorFormatRGB16A
    {2, 8, kRgb, kNone, kUnsupported},                   // kColorFormatRGB16B
    {1, 8, kPlanarYuv, kNone, kQuarterChromaWithAlpha},  // kColorFormatYUV420Planar8
    {0, 8, kOther, kNone, kUnsupported},                 // kColorFormat7
    {0, 8, kOther, kNone, kUnsupported},                 // kColorFormat8
    {2, 8, kOther, kNone, kPacked},                      // kColorFormatYUV422Packed8A
    {1, 8, kOther, kNone, kUnsupported},                 // kColorFormat10
    {2, 8, kOther, kNone, kPacked},                      // kColorFormatYUV422Packed8B
    {0, 8, kOther, kNone, kUnsupported},                 // kColorFormat12
    {1, 8, kPlanarYuv, kNone, kFullPlanesWithAlpha},     // kColorFormatYUV444Planar8
    {0, 8, kPlanarYuv, kNone, kUnsupported},             // kColorFormat14
    {0, 8, kPlanarYuv, kNone, kFullPlanesByHand},        // kColorFormat15
    {0, 8, kPlanarYuv, kNone, kUnsupported},             // kColorFormat16
    {1, 0, kOther, kNone, kOpaque},                      // kColorFormat17
    {8, 10, kRgb, kA, kPacked},                          // kColorFormatARGB64x10A
    {8, 12, kRgb, kA, kPacked},                          // kColorFormatARGB64x12A
    {8, 16, kRgb, kA, kPacked},                          // kColorFormatARGB64x16A
    {8, 10, kRgb, kB, kPacked},                          // kColorFormatARGB64x10B
    {8, 12, kRgb, kB, kPacked},                          // kColorFormatARGB64x12B
    {8, 16, kRgb, kB, kPacked},                          // kColorFormatARGB64x16B
    {2, 10, kPlanarYuv, kNone, kFullPlanes},             // kColorFormatYUV444Planar10
    {0, 12, kPlanarYuv, kNone, kUnsupported},            // kColorFormat25
    {0, 16, kPlanarYuv, kNone, kUnsupported},            // kColorFormat26
    {0, 10, kPlanarYuv, kNone, kUnsupported},            // kColorFormat27
    {0, 12, kPlanarYuv, kNone, kUnsupported},            // kColorFormat28
    {0, 16, kPlanarYuv, kNone, kUnsupported},            // kColorFormat29
    {4, 10, kOther, kNone, kPackedGroups},               // kColorFormatYUV422Packed10
    {2, 10, kPlanarYuv, kNone, kQuarterChroma},          // kColorFormatYUV420Planar10
    {2, 10, kPlanarYuv, kNone, kHalfChroma},             // kColorFormatYUV422Planar10
}};

constexpr ColorFormat kUnknownFormat{0, 0, kOther, kNone, kUnsupported};

/// A set of formats, a bit each.
class FormatSet {
 public:
  constexpr FormatSet(std::initializer_list<EColorFormats> formats) {
    for (const EColorFormats format : formats) {
      m_bits |= 1ULL << format;
    }
  }
  constexpr FormatSet operator|(FormatSet other) const {
    other.m_bits |= m_bits;
    return other;
  }
  constexpr bool Has(EColorFormats format) const { return format < kFormats.size() && (m_bits >> format & 1U) != 0; }

 private:
  unsigned long long m_bits = 0;
};

constexpr FormatSet kRgb24{kColorFormatRGB24A, kColorFormatRGB24B};
constexpr FormatSet kArgb32{kColorFormatARGB32A, kColorFormatARGB32B};
constexpr FormatSet kArgb64{kColorFormatARGB64x10A, kColorFormatARGB64x12A, kColorFormatARGB64x16A,
                            kColorFormatARGB64x10B, kColorFormatARGB64x12B, kColorFormatARGB64x16B};
constexpr FormatSet kYuv420{kColorFormatYUV420Planar8};
constexpr FormatSet kYuv444{kColorFormatYUV444Planar8};
constexpr FormatSet kYuv422Packed{kColorFormatYUV422Packed8A, kColorFormatYUV422Packed8B};
constexpr FormatSet kYuv10{kColorFormatYUV444Planar10, kColorFormatYUV422Packed10, kColorFormatYUV420Planar10,
                           kColorFormatYUV422Planar10};

struct ConversionRule {
  FormatSet from;
  FormatSet to;
};

// The conversions from or to YUV.
constexpr std::array<ConversionRule, 7> kYuvConversions{{
    {kRgb24 | kArgb32 | kArgb64, kYuv420},
    {kArgb32 | kArgb64, kYuv422Packed},
    {kArgb32, kYuv444},
    {kArgb64, kYuv10},
    {kYuv420, kRgb24 | kArgb32 | kYuv420 | kYuv422Packed | FormatSet{kColorFormat8, kColorFormat10}},
    {kYuv422Packed | FormatSet{kColorFormat8, kColorFormatYUV422Packed10}, kYuv420},
    {FormatSet{kColorFormatYUV422Packed8B} | kYuv444, kArgb32},
}};

// RGB converts to the same or fewer bits, except from the 8-byte formats to the 3-byte ones.
bool CanConvertRgb(const ColorFormat& from, const ColorFormat& to) {
  return from.bits >= to.bits && !(from.bytesPerPixel == 8 && to.bytesPerPixel == 3);
}

bool AreBothRgb(const ColorFormat& a, const ColorFormat& b) { return a.family == kRgb && b.family == kRgb; }

}  // namespace

const ColorFormat& DescribeColorFormat(EColorFormats format) {
  return format < kFormats.size() ? kFormats[format] : kUnknownFormat;
}

unsigned int GetBytesPerPixel(EColorFormats format) {
  const unsigned int bytes = DescribeColorFormat(format).bytesPerPixel;
  if (bytes == 0) {
    ReportFailedAssertion(__FILE__, __LINE__, __func__);
  }
  return bytes;
}

unsigned int KelGetBitResolution(EColorFormats format) { return DescribeColorFormat(format).bits; }

bool KelIsPlanarYuvFormat(EColorFormats format) { return DescribeColorFormat(format).family == kPlanarYuv; }

bool KelIsARGBFormat(EColorFormats format) { return DescribeColorFormat(format).family == kRgb; }

bool KelCanDoColorConversion(EColorFormats from, EColorFormats to) {
  const ColorFormat& source = DescribeColorFormat(from);
  const ColorFormat& target = DescribeColorFormat(to);
  if (AreBothRgb(source, target)) {
    return CanConvertRgb(source, target);
  }
  return std::any_of(kYuvConversions.begin(), kYuvConversions.end(),
                     [=](const ConversionRule& rule) { return rule.from.Has(from) && rule.to.Has(to); });
}

bool KelAreColorFormatsCompatible(EColorFormats from, EColorFormats to) {
  return from == to || KelCanDoColorConversion(from, to);
}

bool KelAreComponentsSwapped(EColorFormats a, EColorFormats b) {
  const ColorFormat& first = DescribeColorFormat(a);
  const ColorFormat& second = DescribeColorFormat(b);
  return AreBothRgb(first, second) && first.bits == second.bits;
}

bool KelGetChangeBitResolutionSwapComponentOrder(EColorFormats a, EColorFormats b) {
  const ComponentOrder first = DescribeColorFormat(a).order;
  const ComponentOrder second = DescribeColorFormat(b).order;
  return first != kNone && second != kNone && first != second;
}
