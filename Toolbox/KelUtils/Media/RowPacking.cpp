#include "Toolbox/KelUtils/Media/RowPacking.h"

#include "Toolbox/KelUtils/Media/Internal/RowPackingRoutine.h"

void ProResb64aPacking(KelImage_t const* src, KelImage_t* dst) {
  if (src == nullptr || dst == nullptr || src->planes[0] == nullptr || dst->planes[0] == nullptr) {
    return;
  }
  const int pixelPairs = src->width / 2;
  if (pixelPairs <= 0) {
    return;
  }
  const std::ptrdiff_t sourceStep = std::ptrdiff_t{src->rowBytes[0] / 2} * 2;
  const std::ptrdiff_t targetStep = std::ptrdiff_t{dst->rowBytes[0] / 2} * 2;
  const bool mirrored = src->flipped != dst->flipped;
  for (int row = 0; row < src->height; ++row) {
    const int sourceRow = mirrored ? src->height - 1 - row : row;
    ProResb64aPackingAsm(src->planes[0] + sourceRow * sourceStep, dst->planes[0] + row * targetStep, pixelPairs);
  }
}
