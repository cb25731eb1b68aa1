#pragma once

#include "Toolbox/KelUtils/Media/Images.h"

#include <algorithm>
#include <numeric>
#include <vector>

using Bytes = std::vector<unsigned char>;

/// An image and its buffer, whose bytes count up from `first`.
struct Frame {
  Frame(unsigned format, bool flipped, int rowBytes, int width, int height, bool alpha, unsigned char first) {
    InitKelImage(image, 0, nullptr, format, flipped, rowBytes, width, height, alpha);
    const auto plane = static_cast<std::size_t>(image.rowBytes[0]) * static_cast<std::size_t>(height);
    bytes.resize(std::max<std::size_t>(CalcFrameSize(image, alpha), plane));
    std::iota(bytes.begin(), bytes.end(), first);
    InitKelImage(image, 0, bytes.data(), format, flipped, rowBytes, width, height, alpha);
  }

  Bytes bytes;
  KelImage_t image{};
};

/// The bytes of `target` after copying `source` to it row by row.
inline Bytes CopiedSlowly(const Frame& source, const Frame& target, bool flips) {
  const bool mirrored = flips || source.image.flipped != target.image.flipped;
  const int height = source.image.height;
  const unsigned format = source.image.format;
  Bytes expected = target.bytes;
  const auto copyPlane = [&](int plane, int rowBytesOf, int rows) {
    const unsigned char* const from = source.image.planes[plane];
    const unsigned char* const to = target.image.planes[plane];
    const std::ptrdiff_t fromStep = source.image.rowBytes[rowBytesOf];
    const std::ptrdiff_t toStep = target.image.rowBytes[rowBytesOf];
    for (int row = 0; from != nullptr && to != nullptr && row < rows; ++row) {
      const auto place = expected.begin() + (to - target.bytes.data()) + (mirrored ? rows - 1 - row : row) * toStep;
      std::copy_n(from + row * fromStep, std::min(fromStep, toStep), place);
    }
  };
  copyPlane(0, 0, format != 13 && format != 17 && format != 24 && format < 31 ? height : 0);
  copyPlane(3, 0, format == 6 ? height : 0);
  copyPlane(1, 1, format == 6 ? height / 2 : 0);
  copyPlane(2, 1, format == 6 ? height / 2 : 0);
  return expected;
}
