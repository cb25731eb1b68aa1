#pragma once

/// Records of uncompressed video frames: describing the planes in a caller's buffer, computing the size of a frame,
/// copying and flipping. A record owns nothing, neither the buffer nor the packet that may be attached to it.
///
///   std::vector<unsigned char> frame(CalcFrameSize(kColorFormatYUV420Planar8, 100, 50, 0, true));  // 12500
///   KelImage_t image{};
///   InitKelImage(image, 0, frame.data(), kColorFormatYUV420Planar8, false, 100, 50, true);
///   // row bytes 100, 50, 0, 100; planes at 0, 5000, 6250, 7500
///
/// An unsupported format is a caller error: an assertion report that names the operation ends the process.

#include "RHOAPI/RHOAPIExport.h"
#include "RHOAPI/RHOAPIPacketInterface.h"
#include "Toolbox/KelUtils/Media/ColorFormats.h"

#include <cstddef>

/// One frame. Plain data: defined as `KelImage_t image{};` and filled by InitKelImage. The layout is part of the ABI.
/// Fields without a description hold values of the callers; the module only stores them.
struct KelImage_t {
  EColorFormats format;      ///< how pixels are stored
  unsigned int formatParam;  ///< a parameter of the format, the caller's
  int width;                 ///< pixels per row
  int height;                ///< rows
  unsigned int flipped;  ///< 0 or 1: the order of the rows. Copies between images that differ in it mirror vertically.
  int rowBytes[4];       ///< bytes from one row to the next, plane by plane
  /// The first row of each plane, or null. Plane 0 is the only one of packed formats and Y of planar ones, 1 and 2 hold
  /// chroma (2 is read with the row bytes of 1 in 4:2:0), 3 is the optional alpha of kColorFormatYUV420Planar8.
  unsigned char* planes[4];
  unsigned long long value0;  ///< the caller's
  unsigned long long scale0;  ///< the caller's
  unsigned long long value1;  ///< the caller's
  unsigned long long scale1;  ///< the caller's
  unsigned int extra;         ///< the caller's
  unsigned int tag;           ///< the caller's
  IPacket* packet;            ///< a packet attached to the image, or null
};

static_assert(offsetof(KelImage_t, format) == 0 && offsetof(KelImage_t, formatParam) == 4 &&
              offsetof(KelImage_t, width) == 8 && offsetof(KelImage_t, height) == 12 &&
              offsetof(KelImage_t, flipped) == 16 && offsetof(KelImage_t, rowBytes) == 20 &&
              offsetof(KelImage_t, planes) == 32 + sizeof(void*));
// With 32-bit words some systems put padding in front of the 64-bit fields; there is no gap after that.
static_assert(offsetof(KelImage_t, value0) - (32 + 5 * sizeof(void*)) < 8);
static_assert(offsetof(KelImage_t, scale0) - offsetof(KelImage_t, value0) == 8 &&
              offsetof(KelImage_t, value1) - offsetof(KelImage_t, value0) == 16 &&
              offsetof(KelImage_t, scale1) - offsetof(KelImage_t, value0) == 24 &&
              offsetof(KelImage_t, extra) - offsetof(KelImage_t, value0) == 32 &&
              offsetof(KelImage_t, tag) - offsetof(KelImage_t, value0) == 36 &&
              offsetof(KelImage_t, packet) - offsetof(KelImage_t, value0) == 40);

/// Describes in `image` the frame in `buffer`, which may be null for now (see ReplaceYUVImage): stores the tag, format,
/// order of rows and size, sets the planes and their row bytes, formatParam 1, value0 0, scale0 1 and no packet.
/// `value1`, `scale1` and `extra` do not change. The planes follow each other without gaps. `alpha` adds an alpha plane
/// to kColorFormatYUV420Planar8, one and a half sizes of Y behind the buffer's start (with odd row bytes or an odd
/// height some bytes behind the chroma), and is ignored for other formats.
///
/// `rowBytes` 0 means rows without gaps: bytes per pixel times width (kColorFormatYUV422Packed10: 128 bytes for each
/// started 48 pixels). If that is negative or beyond int, the image gets neither planes nor row bytes, and nothing is
/// copied into or out of it. A plane whose distance from the buffer cannot be addressed is null.
///
/// Supported formats: 0 to 3, 6, 9, 11, 13, 17 to 24, 30 to 32; others are reported.
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

/// The form with five values, with row bytes 0.
RHOAPI_EXPORT void InitKelImage(KelImage_t& image, unsigned int tag, unsigned char* buffer, unsigned int format,
                                bool flipped, int width, int height, bool alpha, unsigned long long value0,
                                unsigned long long scale0, unsigned long long value1, unsigned long long scale1,
                                unsigned int extra);
/// The same with two values.
RHOAPI_EXPORT void InitKelImage(KelImage_t& image, unsigned int tag, unsigned char* buffer, unsigned int format,
                                bool flipped, int width, int height, bool alpha, unsigned long long value0,
                                unsigned long long scale0);

/// The form with row bytes and five values, then formatParam.
RHOAPI_EXPORT void InitKelImage(KelImage_t& image, unsigned int tag, unsigned char* buffer, unsigned int format,
                                unsigned int formatParam, bool flipped, int rowBytes, int width, int height, bool alpha,
                                unsigned long long value0, unsigned long long scale0, unsigned long long value1,
                                unsigned long long scale1, unsigned int extra);
/// The same with two values.
RHOAPI_EXPORT void InitKelImage(KelImage_t& image, unsigned int tag, unsigned char* buffer, unsigned int format,
                                unsigned int formatParam, bool flipped, int rowBytes, int width, int height, bool alpha,
                                unsigned long long value0, unsigned long long scale0);

/// Bytes in one frame, computed modulo 2^32. `rowBytes` 0 means bytes per pixel times width; GetBytesPerPixel then
/// reports formats without bytes per pixel. With other row bytes an unknown format counts as one plane. Format 17 has
/// size 0, the size of kColorFormatYUV422Packed10 does not depend on the row bytes, and `alpha` is ignored except for
/// kColorFormatYUV420Planar8 and kColorFormatYUV444Planar8.
///   CalcFrameSize(kColorFormatYUV420Planar8, 101, 51, 0, false) == 7726
RHOAPI_EXPORT unsigned int CalcFrameSize(EColorFormats format, unsigned int width, unsigned int height,
                                         unsigned int rowBytes, bool alpha);

/// The same with the format, size and plane-0 row bytes of `image`.
RHOAPI_EXPORT unsigned int CalcFrameSize(KelImage_t const& image, bool alpha);

/// Copies `src` into the buffer of `dst`. Does nothing when there are rows and a plane 0 is null. Otherwise copies
/// value1 and scale1 and then, if format, width and height are equal, the packet and the pixels.
///
/// The packet: with `deep`, `dst` gets a clone of the packet of `src`, which the caller then owns, and keeps its own
/// when `src` has none; without `deep`, `dst` gets the packet pointer of `src`. The previous packet of `dst` is not
/// destroyed.
///
/// The pixels: those of formats 0 to 3, 9, 11, 18 to 23 and 30 and of kColorFormatYUV420Planar8 (alpha if both images
/// have it), vertically mirrored when `flipped` differs; none of other formats. In each row the smaller number of row
/// bytes is copied; bytes of `dst` beyond it do not change. A plane whose height, width or row bytes are negative, or
/// whose last row cannot be addressed, is left out. Throws what clone() throws, before any pixel is copied.
RHOAPI_EXPORT void CopyKelImage(KelImage_t const& src, KelImage_t& dst, bool deep);

/// Copies `src` into `dst` with the rows in reverse order: sets `flipped` of `dst` to the opposite of that of `src`,
/// then does CopyKelImage without `deep`. Images that differ in format, width or height are reported before anything
/// changes.
RHOAPI_EXPORT void FlipKelImage(KelImage_t const& src, KelImage_t& dst);

/// Moves the planes of an image of format 6, 13, 15, 24, 31 or 32 to `buffer` and keeps all row bytes; does nothing for
/// other formats. The sizes of all planes are computed with the row bytes of plane 1, which is right for images whose
/// planes have the same row bytes: formats 13 and 24, but not 6, 31 and 32 as InitKelImage describes them.
RHOAPI_EXPORT void ReplaceYUVImage(KelImage_t& image, unsigned char* buffer);
