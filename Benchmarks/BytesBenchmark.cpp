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
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;

template <class Action>
void Register(const std::string& name, Action action) {
  benchmark::RegisterBenchmark(name.c_str(), [action](benchmark::State& state) {
    for (auto _ : state) {
      benchmark::DoNotOptimize(action());
      benchmark::ClobberMemory();
    }
  });
}

template <class Item>
std::shared_ptr<std::vector<Item>> Random(std::size_t count) {
  std::mt19937 random(1);
  auto items = std::make_shared<std::vector<Item>>(count);
  for (Item& item : *items) {
    item = static_cast<Item>(random() & 0xFFU);
  }
  return items;
}

template <class Sum>
void RegisterChecksum(const std::string& work, const std::shared_ptr<Bytes>& data, const std::shared_ptr<Bytes>& copy,
                      Sum sum) {
  Register(work + "/ours", [=] { return sum(data->data(), static_cast<int>(data->size()), 1); });
  Register(work + "/memcpy", [=] { return std::memcpy(copy->data(), data->data(), data->size()); });
}

template <std::uint16_t Polynomial>
unsigned short LookUp(const unsigned char* data, int length, unsigned short crc) {
  return CyclicRemainder<Polynomial>::Update(crc, data, static_cast<std::size_t>(length));
}

void RegisterChecksums() {
  for (const std::size_t size : {std::size_t{64}, std::size_t{5880}, std::size_t{16} << 20U}) {
    const auto data = Random<unsigned char>(size);
    const auto copy = std::make_shared<Bytes>(size);
    const std::string count = std::to_string(size);
    RegisterChecksum("Calc16BitCRC " + count, data, copy, Calc16BitCRC);
    Register("Calc16BitCRC " + count + "/libavutil",
             [=] { return av_crc(av_crc_get_table(AV_CRC_16_CCITT), 1, data->data(), data->size()); });
    RegisterChecksum("Calc8BitCRC " + count, data, copy, Calc8BitCRC);
    RegisterChecksum("16 bits by lookups " + count, data, copy, LookUp<0x1021>);
    RegisterChecksum("8 bits by lookups " + count, data, copy, LookUp<0xD500>);
  }
  const auto samples = Random<short>(std::size_t{kWidth} * kHeight);
  Register("Calc16BitCRCShort 1920x1080/ours",
           [=] { return Calc16BitCRCShort(samples->data(), kWidth, kHeight, kWidth, 1); });
  Register("Calc16BitCRCShort 1920x1080/reading",
           [=] { return std::accumulate(samples->begin(), samples->end(), 0U); });
}

struct Frame {
  Frame(bool flipped, int rowBytes) : bytes(Random<unsigned char>(static_cast<std::size_t>(rowBytes) * kHeight)) {
    InitKelImage(image, 0, bytes->data(), kColorFormatARGB32A, flipped, rowBytes, kWidth, kHeight, false);
  }

  std::shared_ptr<Bytes> bytes;
  KelImage_t image{};
};

void RegisterImageCopy(const std::string& name, bool mirrored, int targetStride) {
  constexpr int kStride = kWidth * 4;
  const auto source = std::make_shared<Frame>(false, kStride);
  const auto target = std::make_shared<Frame>(mirrored, targetStride);
  const std::string work = "CopyKelImage " + name;
  Register(work + "/ours", [=] {
    CopyKelImage(source->image, target->image, false);
    return target->image.planes[0];
  });
  Register(work + "/libyuv", [=] {
    return libyuv::ARGBCopy(source->bytes->data(), kStride, target->bytes->data(), targetStride, kWidth,
                            mirrored ? -kHeight : kHeight);
  });
  Register(work + "/libavutil", [=] {
    const std::ptrdiff_t lastRow = std::ptrdiff_t{targetStride} * (kHeight - 1);
    av_image_copy_plane(target->bytes->data() + (mirrored ? lastRow : 0), mirrored ? -targetStride : targetStride,
                        source->bytes->data(), kStride, kStride, kHeight);
    return target->bytes->data();
  });
}

void RegisterImageCopies() {
  RegisterImageCopy("same stride", false, kWidth * 4);
  RegisterImageCopy("other stride", false, kWidth * 4 + 64);
  RegisterImageCopy("flipped", true, kWidth * 4);
}

void RegisterAllocations() {
  for (const std::size_t size : {std::size_t{64}, std::size_t{1024}, std::size_t{65536}}) {
    const std::string count = std::to_string(size);
    const std::string work = "KelAllocPtrAligned " + count;
    Register(work + "/ours", [=] {
      void* area = KelAllocPtrAligned(size, 64);
      benchmark::DoNotOptimize(area);
      KelFreePtrAligned(area);
      return area;
    });
    Register(work + "/malloc", [=] {
      void* area = std::malloc(size);
      benchmark::DoNotOptimize(area);
      std::free(area);
      return size;
    });
    Register(work + "/posix_memalign", [=] {
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
