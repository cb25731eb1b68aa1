#include "Toolbox/KelUtils/Files/RawDumps.h"

#include "Toolbox/KelUtils/Files/Internal/OpenStream.h"

#include <cstddef>

namespace {

/// Nothing is written for null and for sizes below 1. Short writes are ignored, as documented.
void WriteBytes(std::FILE* file, const unsigned char* data, int size) {
  if (data != nullptr && size > 0) {
    std::fwrite(data, 1, static_cast<std::size_t>(size), file);
  }
}

/// Writes `height` rows of `width` bytes that lie `stride` bytes apart, without the gaps between them.
void WritePlane(std::FILE* file, const unsigned char* plane, int stride, int width, int height) {
  if (plane == nullptr) {
    return;
  }
  for (int row = 0; row < height; ++row) {
    WriteBytes(file, plane + std::ptrdiff_t{stride} * row, width);
  }
}

/// The size of a 4:2:0 chroma plane: half, rounded up. (size + 1) / 2 could overflow.
int LargerHalf(int size) { return size / 2 + size % 2; }

}  // namespace

void WriteBitstream(char* path, unsigned char* data, int size) {
  if (const OwnedStream file = OpenStream(path, "ab")) {
    WriteBytes(file.get(), data, size);
  }
}

void WriteFrame(char* path, unsigned char* y, int yStride, unsigned char* u, unsigned char* v, int uvStride, int width,
                int height) {
  if (const OwnedStream file = OpenStream(path, "ab")) {
    WritePlane(file.get(), y, yStride, width, height);
    WritePlane(file.get(), u, uvStride, LargerHalf(width), LargerHalf(height));
    WritePlane(file.get(), v, uvStride, LargerHalf(width), LargerHalf(height));
  }
}
