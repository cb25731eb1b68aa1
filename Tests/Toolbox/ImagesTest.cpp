#include "RHOAPI/RHOAPIPacket.h"
#include "Tests/Support/Images.h"
#include "Toolbox/KelUtils/Media/RowPacking.h"

#include <gtest/gtest.h>
#include <climits>
#include <cstring>
#include <numeric>

namespace {

// The row bytes of four planes and their offsets, "-" for no plane: "100 50 0 0 | 0 5000 6250 -".
std::string Planes(const KelImage_t& image, const unsigned char* buffer) {
  std::ostringstream text;
  for (const int rowBytes : image.rowBytes) {
    text << rowBytes << ' ';
  }
  text << '|';
  for (const unsigned char* const plane : image.planes) {
    plane == nullptr ? text << " -" : text << ' ' << plane - buffer;
  }
  return text.str();
}

TEST(Images, AreLaidOutAndSized) {
  static Bytes buffer(20000);
  // Format, requested row bytes, width, height, alpha; the expected planes and size of the frame.
  using Case = std::tuple<unsigned, int, int, int, bool, std::string, unsigned>;
  for (const auto& [format, rowBytes, width, height, alpha, planes, size] : {
           Case{0, 0, 10, 4, true, "30 0 0 0 | 0 - - -", 120},
           {1, 48, 10, 4, true, "48 0 0 0 | 0 - - -", 192},
           {6, 0, 100, 50, true, "100 50 0 100 | 0 5000 6250 7500", 12500},
           {6, 0, 101, 51, false, "101 50 0 0 | 0 5151 6401 -", 7726},
           {11, 0, 10, 4, true, "20 0 0 0 | 0 - - -", 80},
           {17, 0, 10, 4, true, "10 0 0 0 | 0 - - -", 0},
           {13, 0, 100, 50, true, "100 100 100 0 | 0 5000 10000 -", 20000},
           {24, 0, 100, 50, true, "200 200 200 0 | 0 10000 20000 -", 30000},
           {23, 0, 10, 4, true, "80 0 0 0 | 0 - - -", 320},
           {30, 0, 100, 50, true, "384 0 0 0 | 0 - - -", 19200},
           {30, 400, 96, 50, true, "400 0 0 0 | 0 - - -", 12800},
           {31, 0, 10, 5, true, "20 10 0 0 | 0 100 120 -", 150},
           {32, 0, 10, 5, true, "20 10 10 0 | 0 100 150 -", 200},
           {1, 0, 536870912, 4, true, "0 0 0 0 | - - - -", 0},
           {1, 0, -1, 4, true, "0 0 0 0 | - - - -", 4294967280U},
       }) {
    KelImage_t image{};
    std::memset(&image, 0xEE, sizeof image);  // the record of another image
    InitKelImage(image, 7, buffer.data(), format, false, rowBytes, width, height, alpha);
    EXPECT_EQ(image.packet, nullptr);
    EXPECT_EQ(Planes(image, buffer.data()), planes) << format << " by " << rowBytes;
    EXPECT_EQ(CalcFrameSize(image, alpha), size) << format << " by " << rowBytes;
    image.rowBytes[0] = rowBytes;
    EXPECT_EQ(CalcFrameSize(image, alpha), size) << format;
  }
  EXPECT_EQ(CalcFrameSize(static_cast<EColorFormats>(99), 10, 5, 7, true), 35);
  EXPECT_EQ(CalcFrameSize(kColorFormat10, 10, 5, 0, true), 50);
}

TEST(Images, StoreWhatEachFormOfInitIsGiven) {
  const auto stored = [](auto... arguments) {
    KelImage_t i{};
    i.value1 = i.scale1 = i.extra = 99;
    InitKelImage(i, 7U, nullptr, 1U, arguments...);
    std::ostringstream text;
    text << i.tag << i.format << i.formatParam << i.width << i.height << i.flipped << ' ' << i.rowBytes[0] << ' '
         << i.value0 << ' ' << i.scale0 << ' ' << i.value1 << ' ' << i.scale1 << ' ' << i.extra;
    return text.str();
  };
  EXPECT_EQ(stored(true, 64, 5, 4, false), "711541 64 0 1 99 99 99");
  EXPECT_EQ(stored(true, 5, 4, false), "711541 20 0 1 99 99 99");
  EXPECT_EQ(stored(false, 64, 5, 4, false, 11ULL, 12ULL, 13ULL, 14ULL, 15U), "711540 64 11 12 13 14 15");
  EXPECT_EQ(stored(false, 64, 5, 4, false, 11ULL, 12ULL), "711540 64 11 12 0 1 0");
  EXPECT_EQ(stored(false, 5, 4, false, 11ULL, 12ULL, 13ULL, 14ULL, 15U), "711540 20 11 12 13 14 15");
  EXPECT_EQ(stored(false, 5, 4, false, 11ULL, 12ULL), "711540 20 11 12 0 1 0");
  EXPECT_EQ(stored(3U, false, 64, 5, 4, false, 11ULL, 12ULL, 13ULL, 14ULL, 15U), "713540 64 11 12 13 14 15");
  EXPECT_EQ(stored(3U, false, 64, 5, 4, false, 11ULL, 12ULL), "713540 64 11 12 0 1 0");
}

TEST(Images, ThatDoNotMatchOrCannotBeAreNotCopied) {
  // Width, heights of source and target, row bytes, whether the target has a plane 0; what is expected to be copied.
  using Case = std::tuple<int, int, int, int, bool, std::string>;
  const Case cases[] = {{8, 10, 10, 64, true, "values pixels"}, {8, 10, 10, 64, false, ""},
                        {8, 10, 9, 64, true, "values "},        {8, 0, 0, 64, false, "values "},
                        {-1, 10, 10, 64, true, "values "},      {INT_MIN, 10, 10, 64, true, "values "},
                        {8, -8, -8, 64, true, "values "},       {8, INT_MIN, INT_MIN, 64, true, "values "},
                        {8, 10, 10, -1, true, "values "},       {8, 10, 10, INT_MIN, true, "values "}};
  for (const auto& [width, height, otherHeight, rowBytes, hasPlane, expected] : cases) {
    Frame source(6, false, 64, 8, 10, true, 1);
    Frame target(6, true, 64, 8, 10, true, 100);
    source.image.value1 = 5;
    source.image.width = target.image.width = width;
    source.image.height = height;
    target.image.height = otherHeight;
    source.image.rowBytes[0] = source.image.rowBytes[1] = rowBytes;
    target.image.planes[0] = hasPlane ? target.image.planes[0] : nullptr;
    const Bytes before = target.bytes;
    CopyKelImage(source.image, target.image, false);
    EXPECT_EQ((target.image.value1 == 5 ? "values " : "") + std::string(target.bytes == before ? "" : "pixels"),
              expected)
        << width << ' ' << height << ' ' << otherHeight << ' ' << rowBytes;
  }
}

TEST(Images, CarryTheirPacketAsPointerOrClone) {
  TRHOAPIPacket packet(IPacket::kPacketTypeLinearPCM, "desc", "data");
  const auto carried = [&](IPacket* ofSource, bool deep) {
    KelImage_t images[2]{};
    images[0].packet = ofSource;
    images[1].packet = &packet;
    CopyKelImage(images[0], images[1], deep);
    return images[1].packet;
  };
  EXPECT_TRUE(carried(nullptr, false) == nullptr && carried(nullptr, true) == &packet);
  EXPECT_EQ(carried(&packet, false), &packet);
  IPacket* const clone = carried(&packet, true);
  EXPECT_TRUE(clone != &packet && clone->getDescriptorSize() == 4);
  clone->destroy();
}

TEST(Images, AreMovedToAnotherBuffer) {
  static Bytes buffer(1000);
  const auto moved = [](unsigned format, bool alpha, int rowBytes, int height) {
    KelImage_t image{};
    InitKelImage(image, 0, nullptr, kColorFormatYUV420Planar8, false, rowBytes, 40, height, alpha);
    image.format = static_cast<EColorFormats>(format);
    ReplaceYUVImage(image, buffer.data());
    return image.planes[0] == nullptr ? "" : Planes(image, buffer.data());
  };
  const std::string full = "40 20 0 0 | 0 220 440 -";
  EXPECT_EQ(moved(6, true, 40, 11), "40 20 0 40 | 0 220 320 420");
  EXPECT_EQ(moved(31, false, 40, 11), "40 20 0 0 | 0 220 320 -");
  for (const unsigned format : {1U, 13U, 14U, 15U, 17U, 24U, 30U, 32U, 33U}) {
    EXPECT_EQ(moved(format, false, 40, 11),
              format % 13 == 0 || format == 15 || format == 24 || format == 32 ? full : "");
    moved(format, true, INT_MIN, INT_MIN);
  }
}

TEST(RowPacking, WritesComponentsMostSignificantByteFirst) {
  for (const bool mirrored : {false, true}) {
    std::vector<unsigned short> pixels(48);
    std::iota(pixels.begin(), pixels.end(), static_cast<unsigned short>(0x12F0));
    Bytes packed(88, 0xEE);
    Bytes expected = packed;
    for (std::size_t at = 0; at < 64; ++at) {
      const unsigned component = pixels[(mirrored ? 1 - at / 32 : at / 32) * 24 + at % 32 / 2];
      expected[at / 32 * 44 + at % 32] = static_cast<unsigned char>(at % 2 == 0 ? component >> 8U : component);
    }
    KelImage_t source{};
    KelImage_t target{};
    InitKelImage(source, 0, reinterpret_cast<unsigned char*>(pixels.data()), 20, mirrored, 49, 5, 2, false);
    InitKelImage(target, 0, packed.data(), 20, false, 45, 5, 2, false);
    ProResb64aPacking(&source, &target);
    EXPECT_EQ(packed, expected);
  }
  KelImage_t empty{};
  InitKelImage(empty, 0, nullptr, 20, false, 64, 8, 2, false);
  Bytes bytes(128);
  KelImage_t image{};
  InitKelImage(image, 0, bytes.data(), 20, false, 64, 8, 2, false);
  for (const auto& [source, target] : {std::pair(&empty, &image), {&image, &empty}, {nullptr, &image}}) {
    ProResb64aPacking(source, target);
  }
  ProResb64aPacking(&image, nullptr);
  EXPECT_EQ(bytes, Bytes(128)) << "nothing is packed without both planes";
}

TEST(ImagesDeathTest, ReportTheOperationInEveryBuild) {
  KelImage_t image{};
  const std::string report = "[: ]Toolbox/KelUtils/Media/Images.cpp:[0-9]+: InitKelImage: Assertion `false' failed";
  for (const unsigned format : {4U, 10U, 15U, 25U, 33U}) {
    EXPECT_DEATH(InitKelImage(image, 0, nullptr, format, false, 8, 8, false), report) << format;
    EXPECT_DEATH(InitKelImage(image, 0, nullptr, format, false, 64, 8, 8, false), report) << format;
  }
  EXPECT_DEATH(CalcFrameSize(kColorFormat7, 8, 8, 0, false), ": GetBytesPerPixel: Assertion `false' failed");
  KelImage_t other = image;
  other.width = 1;
  EXPECT_DEATH(FlipKelImage(image, other), "Images.cpp:[0-9]+: FlipKelImage: Assertion `false' failed");
}

}  // namespace
