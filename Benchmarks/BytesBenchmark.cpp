// Checksums, image copies and aligned blocks beside the C library's own calls and well-known libraries.

#include "Benchmarks/Ratios.h"
#include "Toolbox/KelMemory.h"
#include "Toolbox/KelUtils/Checksums/Checksums.h"
#include "Toolbox/KelUtils/Checksums/Internal/CyclicRemainder.h"
#include "Toolbox/KelUtils/Media/Images.h"

#include <benchmark/benchmark.h>
#include <libyuv/planar_functions.h>

extern "C" {
#include <libavutil/crc.h>
#include <libavutil/imgutils.h>
}

#include <cstdlib>
#include <cstring>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

/// A frame of full HD.
constexpr int kWidth = 1920;
constexpr int kHeight = 1080;

/// `count` random numbers from 0 to 255, the same in each process.
template <class Item>
std::shared_ptr<std::vector<Item>> Random(std::size_t count) {
  std::mt19937 random(1);
  auto items = std::make_shared<std::vector<Item>>(count);
  for (Item& item : *items) {
    item = static_cast<Item>(random() & 0xFFU);
  }
  return items;
}

/// A checksum, with a copy of the same bytes as the floor.
template <class Sum>
void RegisterChecksum(const std::string& work, const std::shared_ptr<Bytes>& data, const std::shared_ptr<Bytes>& copy,
                      Sum sum) {
  RegisterWork(work + "/ours", [=] { return sum(data->data(), static_cast<int>(data->size()), 1); });
  RegisterWork(work + "/memcpy", [=] { return std::memcpy(copy->data(), data->data(), data->size()); });
}

/// The checksum by table lookups, as on processors without carry-less multiplication. The 8-bit polynomial is the upper
/// byte of its 16 bits.
template <std::uint16_t Polynomial>
unsigned short LookUp(const unsigned char* data, int length, unsigned short crc) {
  return CyclicRemainder<Polynomial>::Update(crc, data, static_cast<std::size_t>(length));
}

/// Checksums over sizes from a cache line to beyond the caches. 5880 bytes are a packet of 44,100 Hz 16-bit stereo at
/// 30 packets per second.
void RegisterChecksums() {
  for (const std::size_t size :
       std::initializer_list<std::size_t>{64, 1000, 5880, 10'000, 100'000, 1'000'000, 16 << 20}) {
    const auto data = Random<unsigned char>(size);
    const auto copy = std::make_shared<Bytes>(size);
    const std::string count = std::to_string(size);
    RegisterChecksum("Calc16BitCRC " + count, data, copy, Calc16BitCRC);
    RegisterWork("Calc16BitCRC " + count + "/libavutil",
                 [=] { return av_crc(av_crc_get_table(AV_CRC_16_CCITT), 1, data->data(), data->size()); });
    RegisterChecksum("Calc8BitCRC " + count, data, copy, Calc8BitCRC);
    RegisterChecksum("16 bits by lookups " + count, data, copy, LookUp<0x1021>);
    RegisterChecksum("8 bits by lookups " + count, data, copy, LookUp<0xD500>);
  }
  const auto samples = Random<short>(std::size_t{kWidth} * kHeight);
  RegisterWork("Calc16BitCRCShort 1920x1080/ours",
               [=] { return Calc16BitCRCShort(samples->data(), kWidth, kHeight, kWidth, 1); });
  RegisterWork("Calc16BitCRCShort 1920x1080/reading",
               [=] { return std::accumulate(samples->begin(), samples->end(), 0U); });
}

/// An image with memory of its own.
struct Frame {
  Frame(unsigned int format, bool flipped, int rowBytes, int width, int height)
      : bytes(Random<unsigned char>(CalcFrameSize(static_cast<EColorFormats>(format), 0,
                                                  static_cast<unsigned int>(height),
                                                  static_cast<unsigned int>(rowBytes), false))) {
    InitKelImage(image, 0, bytes->data(), format, flipped, rowBytes, width, height, false);
  }

  std::shared_ptr<Bytes> bytes;
  KelImage_t image{};
};

/// Copies of 32-bit pixels. A negative height or stride makes the other libraries flip the image.
void RegisterPackedCopy(const std::string& name, bool mirrored, int width, int height, int padding) {
  const int stride = width * 4;
  const int targetStride = stride + padding;
  const auto source = std::make_shared<Frame>(kColorFormatARGB32A, false, stride, width, height);
  const auto target = std::make_shared<Frame>(kColorFormatARGB32A, mirrored, targetStride, width, height);
  const std::string work = "CopyKelImage " + name;
  RegisterWork(work + "/ours", [=] {
    CopyKelImage(source->image, target->image, false);
    return target->image.planes[0];
  });
  RegisterWork(work + "/libyuv", [=] {
    return libyuv::ARGBCopy(source->bytes->data(), stride, target->bytes->data(), targetStride, width,
                            mirrored ? -height : height);
  });
  RegisterWork(work + "/libavutil", [=] {
    const std::ptrdiff_t lastRow = std::ptrdiff_t{targetStride} * (height - 1);
    av_image_copy_plane(target->bytes->data() + (mirrored ? lastRow : 0), mirrored ? -targetStride : targetStride,
                        source->bytes->data(), stride, stride, height);
    return target->bytes->data();
  });
}

/// Copies of three planes in 4:2:0.
void RegisterPlanarCopy(const std::string& name, bool mirrored, int width, int height, int targetStride) {
  const auto source = std::make_shared<Frame>(kColorFormatYUV420Planar8, false, width, width, height);
  const auto target = std::make_shared<Frame>(kColorFormatYUV420Planar8, mirrored, targetStride, width, height);
  const std::string work = "CopyKelImage " + name;
  RegisterWork(work + "/ours", [=] {
    CopyKelImage(source->image, target->image, false);
    return target->image.planes[0];
  });
  // Height rounded down, since chroma planes have half as many rows here.
  const auto copyPlanes = [=](auto copyPlane) {
    for (const int plane : {0, 1, 2}) {
      copyPlane(source->image.planes[plane], source->image.rowBytes[plane == 0 ? 0 : 1], target->image.planes[plane],
                target->image.rowBytes[plane == 0 ? 0 : 1], plane == 0 ? width : width / 2,
                plane == 0 ? height : height / 2);
    }
    return target->image.planes[0];
  };
  RegisterWork(work + "/libyuv", [=] {
    return copyPlanes(
        [=](const unsigned char* from, int fromStride, unsigned char* to, int toStride, int bytes, int rows) {
          libyuv::CopyPlane(from, fromStride, to, toStride, bytes, mirrored ? -rows : rows);
        });
  });
  RegisterWork(work + "/memcpy a row", [=] {
    return copyPlanes(
        [=](const unsigned char* from, int fromStride, unsigned char* to, int toStride, int bytes, int rows) {
          for (int row = 0; row < rows; ++row) {
            std::memcpy(to + std::ptrdiff_t{mirrored ? rows - 1 - row : row} * toStride,
                        from + std::ptrdiff_t{row} * fromStride, static_cast<std::size_t>(bytes));
          }
        });
  });
}

void RegisterImageCopies() {
  for (const auto& [size, width, height] :
       {std::tuple{"48x27", 48, 27}, {"320x180", 320, 180}, {"1920x1080", kWidth, kHeight}}) {
    RegisterPackedCopy(std::string("pixels ") + size, false, width, height, 0);
    RegisterPackedCopy(std::string("pixels, other stride ") + size, false, width, height, 64);
    RegisterPackedCopy(std::string("pixels, flipped ") + size, true, width, height, 0);
    RegisterPlanarCopy(std::string("planes ") + size, false, width, height, width);
    RegisterPlanarCopy(std::string("planes, other stride ") + size, false, width, height, width + 16);
    RegisterPlanarCopy(std::string("planes, flipped ") + size, true, width, height, width);
  }
}

/// Allocations aligned to 64 bytes, with malloc, which does not align to 64 bytes, as the floor.
void RegisterAllocations() {
  for (const std::size_t size : {std::size_t{64}, std::size_t{1024}, std::size_t{65536}}) {
    const std::string count = std::to_string(size);
    const std::string work = "KelAllocPtrAligned " + count;
    RegisterWork(work + "/ours", [=] {
      void* area = KelAllocPtrAligned(size, 64);
      benchmark::DoNotOptimize(area);
      KelFreePtrAligned(area);
      return area;
    });
    RegisterWork(work + "/malloc", [=] {
      void* area = std::malloc(size);
      benchmark::DoNotOptimize(area);
      std::free(area);
      return size;
    });
    RegisterWork(work + "/posix_memalign", [=] {
      void* area = nullptr;
      const int error = posix_memalign(&area, 64, size);
      benchmark::DoNotOptimize(area);
      std::free(area);
      return error;
    });
  }
}

}  // namespace

int main(int argc, char** argv) {
  RegisterChecksums();
  RegisterImageCopies();
  RegisterAllocations();
  return RunAndPrintRatios(argc, argv);
}
