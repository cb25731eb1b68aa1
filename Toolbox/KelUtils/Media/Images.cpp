#include "Toolbox/KelUtils/Media/Images.h"

#include "Toolbox/KelUtils/Media/Internal/ColorFormatTable.h"
#include "Toolbox/KelUtils/Platform/Internal/AssertionReport.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>

namespace {

using enum FrameLayout;

FrameLayout LayoutOf(EColorFormats format) { return DescribeColorFormat(format).layout; }

// The address at the sum of two distances from `base`; null when the sum overflows. Pointer arithmetic is undefined
// outside of a buffer, and here there may be no buffer yet and sizes may be anything.
unsigned char* AddressAt(unsigned char* base, long long distance, long long more = 0) {
  std::ptrdiff_t offset = 0;
  if (__builtin_add_overflow(distance, more, &offset)) {
    return nullptr;
  }
  const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(base) + static_cast<std::uintptr_t>(offset);
  unsigned char* result = nullptr;
  std::memcpy(&result, &address, sizeof result);
  return result;
}

std::optional<int> DefaultRowBytes(EColorFormats format, int width) {
  const ColorFormat& entry = DescribeColorFormat(format);
  const long long pixels = width;
  const long long rowBytes = entry.layout == kPackedGroups
                                 ? (pixels + kPixelsPerGroup - 1) / kPixelsPerGroup * kBytesPerGroup
                                 : pixels * entry.bytesPerPixel;
  return width >= 0 && std::in_range<int>(rowBytes) ? std::optional(static_cast<int>(rowBytes)) : std::nullopt;
}

// Sets planes 1 and 2, which follow plane 0.
void PlaceChroma(KelImage_t& image, int chromaRowBytes, long long chromaHeight) {
  const long long lumaSize = static_cast<long long>(image.height) * image.rowBytes[0];
  image.rowBytes[1] = chromaRowBytes;
  image.planes[1] = AddressAt(image.planes[0], lumaSize);
  image.planes[2] = AddressAt(image.planes[0], lumaSize, chromaHeight * chromaRowBytes);
}

void PlaceAlphaBehindQuarterChroma(KelImage_t& image) {
  const long long lumaSize = static_cast<long long>(image.height) * image.rowBytes[0];
  image.rowBytes[3] = image.rowBytes[0];
  image.planes[3] = AddressAt(image.planes[0], lumaSize, lumaSize / 2);
}

// Sets all planes; false for an unsupported format, of which only plane 0 is set.
bool PlacePlanes(KelImage_t& image, unsigned char* buffer, int rowBytes, bool alpha) {
  const FrameLayout layout = LayoutOf(image.format);
  image.rowBytes[0] = rowBytes;
  image.planes[0] = buffer;
  switch (layout) {
    case kQuarterChroma:
    case kQuarterChromaWithAlpha:
      PlaceChroma(image, rowBytes / 2, image.height / 2);
      if (alpha && layout == kQuarterChromaWithAlpha) {
        PlaceAlphaBehindQuarterChroma(image);
      }
      return true;
    case kHalfChroma:
      PlaceChroma(image, rowBytes / 2, image.height);
      image.rowBytes[2] = image.rowBytes[1];
      return true;
    case kFullPlanes:
    case kFullPlanesWithAlpha:
      PlaceChroma(image, rowBytes, image.height);
      image.rowBytes[2] = image.rowBytes[1];
      return true;
    case kOpaque:
    case kPacked:
    case kPackedGroups:
      return true;
    default:
      return false;
  }
}

void StoreValues(KelImage_t& image, unsigned long long value0, unsigned long long scale0, unsigned long long value1,
                 unsigned long long scale1, unsigned int extra) {
  image.value0 = value0;
  image.scale0 = scale0;
  image.value1 = value1;
  image.scale1 = scale1;
  image.extra = extra;
}

// The rows of one plane and the row bytes that apply to them.
struct PlaneRows {
  unsigned char* start;
  int rowBytes;

  unsigned char* Row(int row) const { return start + std::ptrdiff_t{rowBytes} * row; }

  bool IsAddressable(int rows) const {
    if (start == nullptr || rowBytes <= 0 || rows <= 0) {
      return false;
    }
    const auto extent = static_cast<unsigned long long>(rowBytes) * static_cast<unsigned int>(rows);
    return std::in_range<std::ptrdiff_t>(extent) &&
           extent <= std::numeric_limits<std::uintptr_t>::max() - reinterpret_cast<std::uintptr_t>(start);
  }
};

// memmove, since source and target may overlap; it costs no more than memcpy.
void CopyRows(PlaneRows source, PlaneRows target, int rows, bool mirrored) {
  if (!source.IsAddressable(rows) || !target.IsAddressable(rows)) {
    return;
  }
  const auto length = static_cast<std::size_t>(std::min(source.rowBytes, target.rowBytes));
  if (!mirrored && source.rowBytes == target.rowBytes) {
    std::memmove(target.start, source.start, length * static_cast<std::size_t>(rows));
    return;
  }
  for (int row = 0; row < rows; ++row) {
    std::memmove(target.Row(mirrored ? rows - 1 - row : row), source.Row(row), length);
  }
}

void CopyPixels(KelImage_t const& src, KelImage_t const& dst) {
  const auto copyPlane = [&](int plane, int rowBytesOf, int rows) {
    CopyRows({src.planes[plane], src.rowBytes[rowBytesOf]}, {dst.planes[plane], dst.rowBytes[rowBytesOf]}, rows,
             src.flipped != dst.flipped);
  };
  const FrameLayout layout = LayoutOf(src.format);
  if (src.width < 0 || (layout != kPacked && layout != kPackedGroups && layout != kQuarterChromaWithAlpha)) {
    return;
  }
  copyPlane(0, 0, src.height);
  if (layout == kQuarterChromaWithAlpha) {
    copyPlane(3, 0, src.height);
    copyPlane(1, 1, src.height / 2);
    copyPlane(2, 1, src.height / 2);
  }
}

bool HaveSameShape(KelImage_t const& a, KelImage_t const& b) {
  return a.height == b.height && a.width == b.width && a.format == b.format;
}

}  // namespace

void InitKelImage(KelImage_t& image, unsigned int tag, unsigned char* buffer, unsigned int format, bool flipped,
                  int rowBytes, int width, int height, bool alpha) {
  const auto colorFormat = static_cast<EColorFormats>(format);
  std::optional<int> knownRowBytes = rowBytes;
  if (rowBytes == 0) {
    if (const FrameLayout layout = LayoutOf(colorFormat); layout == kUnsupported || layout == kFullPlanesByHand) {
      ReportFailedAssertion(__FILE__, __LINE__, __func__);
    }
    knownRowBytes = DefaultRowBytes(colorFormat, width);
  }
  image.tag = tag;
  std::fill(std::begin(image.rowBytes), std::end(image.rowBytes), 0);
  std::fill(std::begin(image.planes), std::end(image.planes), nullptr);
  image.packet = nullptr;
  image.flipped = flipped ? 1 : 0;
  image.format = colorFormat;
  image.formatParam = 1;
  image.width = width;
  image.height = height;
  image.value0 = 0;
  image.scale0 = 1;
  if (knownRowBytes && !PlacePlanes(image, buffer, *knownRowBytes, alpha)) {
    ReportFailedAssertion(__FILE__, __LINE__, __func__);
  }
}

void InitKelImage(KelImage_t& image, unsigned int tag, unsigned char* buffer, unsigned int format, bool flipped,
                  int width, int height, bool alpha) {
  InitKelImage(image, tag, buffer, format, flipped, 0, width, height, alpha);
}

void InitKelImage(KelImage_t& image, unsigned int tag, unsigned char* buffer, unsigned int format, bool flipped,
                  int rowBytes, int width, int height, bool alpha, unsigned long long value0, unsigned long long scale0,
                  unsigned long long value1, unsigned long long scale1, unsigned int extra) {
  InitKelImage(image, tag, buffer, format, flipped, rowBytes, width, height, alpha);
  StoreValues(image, value0, scale0, value1, scale1, extra);
}

void InitKelImage(KelImage_t& image, unsigned int tag, unsigned char* buffer, unsigned int format, bool flipped,
                  int rowBytes, int width, int height, bool alpha, unsigned long long value0,
                  unsigned long long scale0) {
  InitKelImage(image, tag, buffer, format, flipped, rowBytes, width, height, alpha, value0, scale0, 0, 1, 0);
}

void InitKelImage(KelImage_t& image, unsigned int tag, unsigned char* buffer, unsigned int format, bool flipped,
                  int width, int height, bool alpha, unsigned long long value0, unsigned long long scale0,
                  unsigned long long value1, unsigned long long scale1, unsigned int extra) {
  InitKelImage(image, tag, buffer, format, flipped, 0, width, height, alpha, value0, scale0, value1, scale1, extra);
}

void InitKelImage(KelImage_t& image, unsigned int tag, unsigned char* buffer, unsigned int format, bool flipped,
                  int width, int height, bool alpha, unsigned long long value0, unsigned long long scale0) {
  InitKelImage(image, tag, buffer, format, flipped, 0, width, height, alpha, value0, scale0);
}

void InitKelImage(KelImage_t& image, unsigned int tag, unsigned char* buffer, unsigned int format,
                  unsigned int formatParam, bool flipped, int rowBytes, int width, int height, bool alpha,
                  unsigned long long value0, unsigned long long scale0, unsigned long long value1,
                  unsigned long long scale1, unsigned int extra) {
  InitKelImage(image, tag, buffer, format, flipped, rowBytes, width, height, alpha, value0, scale0, value1, scale1,
               extra);
  image.formatParam = formatParam;
}

void InitKelImage(KelImage_t& image, unsigned int tag, unsigned char* buffer, unsigned int format,
                  unsigned int formatParam, bool flipped, int rowBytes, int width, int height, bool alpha,
                  unsigned long long value0, unsigned long long scale0) {
  InitKelImage(image, tag, buffer, format, flipped, rowBytes, width, height, alpha, value0, scale0);
  image.formatParam = formatParam;
}

unsigned int CalcFrameSize(EColorFormats format, unsigned int width, unsigned int height, unsigned int rowBytes,
                           bool alpha) {
  const FrameLayout layout = LayoutOf(format);
  if (layout == kOpaque) {
    return 0;
  }
  if (rowBytes == 0) {
    rowBytes = GetBytesPerPixel(format) * width;
  }
  const unsigned int plane = height * rowBytes;
  const unsigned int alphaPlane = alpha ? plane : 0;
  switch (layout) {
    case kPackedGroups:
      return height * kBytesPerGroup * ((width + kPixelsPerGroup - 1) / kPixelsPerGroup);
    case kQuarterChroma:
      return plane + plane / 2;
    case kQuarterChromaWithAlpha:
      return plane + plane / 2 + alphaPlane;
    case kHalfChroma:
      return 2 * plane;
    case kFullPlanes:
      return 3 * plane;
    case kFullPlanesWithAlpha:
      return 3 * plane + alphaPlane;
    default:
      return plane;
  }
}

unsigned int CalcFrameSize(KelImage_t const& image, bool alpha) {
  return CalcFrameSize(image.format, static_cast<unsigned int>(image.width), static_cast<unsigned int>(image.height),
                       static_cast<unsigned int>(image.rowBytes[0]), alpha);
}

void CopyKelImage(KelImage_t const& src, KelImage_t& dst, bool deep) {
  if (src.height != 0 && (src.planes[0] == nullptr || dst.planes[0] == nullptr)) {
    return;
  }
  dst.value1 = src.value1;
  dst.scale1 = src.scale1;
  if (!HaveSameShape(src, dst)) {
    return;
  }
  if (!deep) {
    dst.packet = src.packet;
  } else if (src.packet != nullptr) {
    dst.packet = src.packet->clone();
  }
  CopyPixels(src, dst);
}

void FlipKelImage(KelImage_t const& src, KelImage_t& dst) {
  if (!HaveSameShape(src, dst)) {
    ReportFailedAssertion(__FILE__, __LINE__, __func__);
  }
  dst.flipped = src.flipped == 0 ? 1 : 0;
  CopyKelImage(src, dst, false);
}

void ReplaceYUVImage(KelImage_t& image, unsigned char* buffer) {
  const FrameLayout layout = LayoutOf(image.format);
  const long long rowBytes = image.rowBytes[1];
  const long long firstPlane = image.height * rowBytes;
  switch (layout) {
    case kQuarterChroma:
    case kQuarterChromaWithAlpha: {
      const long long chromaPlane = static_cast<unsigned int>(image.height) / 2 * rowBytes;
      image.planes[0] = buffer;
      image.planes[1] = AddressAt(buffer, firstPlane);
      image.planes[2] = AddressAt(buffer, firstPlane, chromaPlane);
      if (layout == kQuarterChromaWithAlpha && image.planes[3] != nullptr) {
        image.planes[3] = AddressAt(buffer, firstPlane, 2 * chromaPlane);
      }
      return;
    }
    case kHalfChroma:
    case kFullPlanes:
    case kFullPlanesWithAlpha:
    case kFullPlanesByHand:
      image.planes[0] = buffer;
      image.planes[1] = AddressAt(buffer, firstPlane);
      image.planes[2] = AddressAt(buffer, firstPlane, firstPlane);
      return;
    default:
      return;
  }
}
