#pragma once

/// Records of uncompressed video frames: laying a record over a caller's buffer plane by plane, sizing a frame, copying
/// and flipping. A record owns nothing, neither the buffer nor the packet that may be attached to it.
///
///   std::vector<unsigned char> frame(CalcFrameSize(kColorFormatYUV420Planar8, 100, 50, 0, true));  // 12500
///   KelImage_t image{};
///   InitKelImage(image, 0, frame.data(), kColorFormatYUV420Planar8, false, 100, 50, true);
///   // row bytes 100, 50, 0, 100; planes at 0, 5000, 6250, 7500
///
/// Where a format is not supported, the caller is at fault: an assertion report that names the operation ends the
/// process.

#include "RHOAPI/RHOAPIExport.h"
#include "RHOAPI/RHOAPIPacketInterface.h"
#include "Toolbox/KelUtils/Media/ColorFormats.h"

#include <cstddef>

/// One frame. Plain data: made with `KelImage_t image{};` and filled by InitKelImage. The layout is part of the ABI.
/// The fields without a description belong to the callers, who find in them what they stored.
struct KelImage_t {
  EColorFormats format;
  unsigned int formatParam;
  int width;             ///< pixels per row
  int height;            ///< rows
  unsigned int flipped;  ///< 0 or 1: the order of the rows. Copies between images that differ in it mirror vertically.
  int rowBytes[4];       ///< bytes from one row to the next, plane by plane
  /// The first row of each plane, or null. Plane 0 is the only one of packed formats and Y of planar ones, 1 and 2 hold
  /// chroma (2 is read with the row bytes of 1 in 4:2:0), 3 is the optional alpha of kColorFormatYUV420Planar8.
  unsigned char* planes[4];
  unsigned long long value0;
  unsigned long long scale0;
  unsigned long long value1;
  unsigned long long scale1;
  unsigned int extra;
  unsigned int tag;
  IPacket* packet;  ///< a packet that goes with the image, or null
};

static_assert(offsetof(KelImage_t, format) == 0 && offsetof(KelImage_t, formatParam) == 4 &&
              offsetof(KelImage_t, width) == 8 && offsetof(KelImage_t, height) == 12 &&
              offsetof(KelImage_t, flipped) == 16 && offsetof(KelImage_t, rowBytes) == 20 &&
              offsetof(KelImage_t, planes) == 32 + sizeof(void*));
// With 32-bit words some systems put padding in front of the 64-bit fields; behind it no gap is left.
static_assert(offsetof(KelImage_t, value0) - (32 + 5 * sizeof(void*)) < 8);
static_assert(offsetof(KelImage_t, scale0) - offsetof(KelImage_t, value0) == 8 &&
              offsetof(KelImage_t, value1) - offsetof(KelImage_t, value0) == 16 &&
              offsetof(KelImage_t, scale1) - offsetof(KelImage_t, value0) == 24 &&
              offsetof(KelImage_t, extra) - offsetof(KelImage_t, value0) == 32 &&
              offsetof(KelImage_t, tag) - offsetof(KelImage_t, value0) == 36 &&
              offsetof(KelImage_t, packet) - offsetof(KelImage_t, value0) == 40);

/// Lays `image` over `buffer`, which may be null for now (see ReplaceYUVImage): stores the tag, format, order of rows
/// and size, sets the planes and their row bytes, formatParam 1, value0 0, scale0 1 and no packet. `value1`, `scale1`
/// and `extra` stay as they are. The frame's planes follow each other without gaps. `alpha` adds an alpha plane to
/// kColorFormatYUV420Planar8, half the size of Y behind Y (where row bytes or height are odd, that is some bytes behind
/// the chroma), and is ignored for other formats.
///
/// `rowBytes` 0 stands for rows without gaps: bytes per pixel times width (kColorFormatYUV422Packed10: 128 bytes for
/// each started 48 pixels). Where that is negative or beyond an int, the image gets neither planes nor row bytes, and
/// nothing is ever copied into or out of it. A plane whose distance from the buffer cannot be addressed is null.
///
/// Formats that frames can have: 0 to 3, 6, 9, 11, 13, 17 to 24, 30 to 32; others are reported.
RHOAPI_EXPORT void InitKelImage(KelImage_t& image, unsigned int tag, unsigned char* buffer, unsigned int format,
                                bool flipped, int rowBytes, int width, int height, bool alpha);

/// The same with row bytes 0.
RHOAPI_EXPORT void InitKelImage(KelImage_t& image, unsigned int tag, unsigned char* buffer, unsigned int format,
                                bool flipped, int width, int height, bool alpha);

/// The basic form, then the five values.
RHOAPI_EXPORT void InitKelImage(KelImage_t& image, unsigned int tag, unsigned char* buffer, unsigned int format,
                                bool flipped, int rowBytes, int width, int height, bool alpha,
                                unsigned long long value0, unsigned long long scale0, unsigned long long value1,
                                unsigned long long scale1, unsigned int extra);

/// The basic form, then the two values; value1 becomes 0, scale1 1, extra 0.
RHOAPI_EXPORT void InitKelImage(KelImage_t& image, unsigned int tag, unsigned char* buffer, unsigned int format,
                                bool flipped, int rowBytes, int width, int height, bool alpha,
                                unsigned long long value0, unsigned long long scale0);

/// The two forms above with row bytes 0.
RHOAPI_EXPORT void InitKelImage(KelImage_t& image, unsigned int tag, unsigned char* buffer, unsigned int format,
                                bool flipped, int width, int height, bool alpha, unsigned long long value0,
                                unsigned long long scale0, unsigned long long value1, unsigned long long scale1,
                                unsigned int extra);
RHOAPI_EXPORT void InitKelImage(KelImage_t& image, unsigned int tag, unsigned char* buffer, unsigned int format,
                                bool flipped, int width, int height, bool alpha, unsigned long long value0,
                                unsigned long long scale0);

/// The forms with row bytes and five or two values, then formatParam.
RHOAPI_EXPORT void InitKelImage(KelImage_t& image, unsigned int tag, unsigned char* buffer, unsigned int format,
                                unsigned int formatParam, bool flipped, int rowBytes, int width, int height, bool alpha,
                                unsigned long long value0, unsigned long long scale0, unsigned long long value1,
                                unsigned long long scale1, unsigned int extra);
RHOAPI_EXPORT void InitKelImage(KelImage_t& image, unsigned int tag, unsigned char* buffer, unsigned int format,
                                unsigned int formatParam, bool flipped, int rowBytes, int width, int height, bool alpha,
                                unsigned long long value0, unsigned long long scale0);

/// Bytes in one frame; every step of the sum wraps at 32 bits. `rowBytes` 0 stands for bytes per pixel times width, and
/// then a format without bytes per pixel is reported by GetBytesPerPixel; with row bytes, what is not known counts as
/// one plane. Format 17 has no size (0), kColorFormatYUV422Packed10 never looks at the row bytes, and `alpha` counts
/// for kColorFormatYUV420Planar8 and kColorFormatYUV444Planar8 only.
///   CalcFrameSize(kColorFormatYUV420Planar8, 101, 51, 0, false) == 7726
RHOAPI_EXPORT unsigned int CalcFrameSize(EColorFormats format, unsigned int width, unsigned int height,
                                         unsigned int rowBytes, bool alpha);

/// The same with the format, size and plane-0 row bytes of `image`.
RHOAPI_EXPORT unsigned int CalcFrameSize(KelImage_t const& image, bool alpha);

/// Copies `src` into the buffer of `dst`. Nothing happens where a plane 0 is null (and there are rows). Otherwise
/// value1 and scale1 are copied, and then, between images of equal format, width and height, the packet and the pixels.
///
/// The packet: `deep` gives `dst` a clone, which the caller then owns, where `src` has one, and else leaves it alone;
/// without `deep` both point to the packet of `src`, or to none. What `dst` pointed to before is not destroyed.
///
/// The pixels: those of formats 0 to 3, 9, 11, 18 to 23 and 30, and of kColorFormatYUV420Planar8 (its alpha where both
/// images have it), mirrored where `flipped` differs; none of other formats. Of each row the shorter of the two row
/// bytes is copied; what lies beyond in `dst` stays. A plane whose height, width or row bytes are negative, or whose
/// last row cannot be addressed, is left out. Throws what clone() throws, before any pixel is copied.
RHOAPI_EXPORT void CopyKelImage(KelImage_t const& src, KelImage_t& dst, bool deep);

/// Copies `src` into `dst` upside down: `dst` takes the opposite row order, then the rows, as CopyKelImage without
/// `deep`. Images that differ in format, width or height are reported, before anything is changed.
RHOAPI_EXPORT void FlipKelImage(KelImage_t const& src, KelImage_t& dst);

/// Moves the planes of a planar image to `buffer`, and keeps all row bytes. Every plane is taken to have the row bytes
/// of plane 1; so this is for images whose planes share one row length, as 13 and 24 do, and 6, 31 and 32 as
/// InitKelImage lays them out do not. Images of other formats than 6, 13, 15, 24, 31 and 32 are left as they are.
RHOAPI_EXPORT void ReplaceYUVImage(KelImage_t& image, unsigned char* buffer);
