// Images of any format, size and row bytes, over no more memory than they ask for.

#include "Fuzz/Fuzz.h"
#include "Tests/Support/Images.h"
#include "Toolbox/KelUtils/Media/RowPacking.h"

#include <climits>

void Fuzz(FuzzedDataProvider& data) {
  const auto format = data.PickValueInArray({0U, 1U, 2U, 3U, 6U, 9U, 11U, 13U, 17U, 18U, 19U, 22U, 24U, 30U, 31U, 32U});
  const int width = data.ConsumeIntegralInRange(0, 100);
  const int height = data.ConsumeIntegralInRange(0, 40);
  const bool flips = data.ConsumeBool();
  // Rows of at least `least` bytes, some with padding. With 0 InitKelImage takes rows without gaps.
  const auto makeFrame = [&](int least) {
    const bool flipped = data.ConsumeBool();
    const bool alpha = data.ConsumeBool();
    const int rowBytes = least + data.PickValueInArray({0, data.ConsumeIntegralInRange(1, 500)});
    return Frame(format, flipped, rowBytes, width, height, alpha, data.ConsumeIntegral<unsigned char>());
  };
  const Frame source = makeFrame(0);
  Frame target = makeFrame(0);
  const Bytes expected = CopiedSlowly(source, target, flips);
  flips ? FlipKelImage(source.image, target.image) : CopyKelImage(source.image, target.image, false);
  Expect(target.bytes == expected);

  // Rows of eight bytes per pixel, those of 64-bit ARGB. Packing twice gives the same bytes again.
  Frame packed = makeFrame(8 * width);
  Frame unpacked = makeFrame(8 * width);
  const Bytes before = unpacked.bytes;
  ProResb64aPacking(&unpacked.image, &packed.image);
  ProResb64aPacking(&packed.image, &unpacked.image);
  Expect(unpacked.bytes == before);

  const auto any = [&] { return data.PickValueInArray({data.ConsumeIntegral<int>(), 0, -1, INT_MAX, INT_MIN}); };
  // Extreme sizes and row bytes: the plane addresses are only computed, not accessed.
  KelImage_t image{};
  InitKelImage(image, 0, nullptr, format, flips, any(), width, any(), flips);
  image.rowBytes[1] = any();
  ReplaceYUVImage(image, target.bytes.data());
}
