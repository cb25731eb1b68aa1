#include "Toolbox/KelUtils/Images.h"

#include "RHOAPI/RHOAPIPacket.h"
#include "Toolbox/KelUtils/RowPacking.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <climits>
#include <numeric>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

// Row bytes and places of the planes, "-" where there is none.
std::string Planes(const KelImage_t& image, const unsigned char* buffer) {
  std::ostringstream text;
  for (const int rowBytes : image.rowBytes) {
    text << rowBytes << ' ';
  }
  for (const unsigned char* const plane : image.planes) {
    if (plane == nullptr) {
      text << " -";
    } else {
      text << ' ' << plane - buffer;
    }
  }
  return text.str();
}

TEST(Images, AreLaidOutAndSized) {
  struct Case {
    unsigned format;
    int rowBytes, width, height;
    bool alpha;
    const char* planes;
    unsigned size;
  };
  static Bytes buffer(20000);
  for (const Case& c :
       {Case{0, 0, 10, 4, true, "30 0 0 0  0 - - -", 120}, Case{1, 0, 10, 4, false, "40 0 0 0  0 - - -", 160},
        Case{1, 48, 10, 4, false, "48 0 0 0  0 - - -", 192},
        Case{6, 0, 100, 50, true, "100 50 0 100  0 5000 6250 7500", 12500},
        Case{6, 0, 100, 50, false, "100 50 0 0  0 5000 6250 -", 7500},
        Case{6, 0, 101, 51, false, "101 50 0 0  0 5151 6401 -", 7726},
        Case{9, 0, 10, 4, false, "20 0 0 0  0 - - -", 80},
        Case{13, 0, 100, 50, true, "100 100 100 0  0 5000 10000 -", 20000},
        Case{17, 0, 10, 4, false, "10 0 0 0  0 - - -", 0}, Case{23, 0, 10, 4, false, "80 0 0 0  0 - - -", 320},
        Case{24, 0, 100, 50, true, "200 200 200 0  0 10000 20000 -", 30000},
        Case{30, 0, 100, 50, false, "384 0 0 0  0 - - -", 19200},
        Case{30, 400, 96, 50, false, "400 0 0 0  0 - - -", 12800},
        Case{31, 0, 10, 5, true, "20 10 0 0  0 100 120 -", 150},
        Case{32, 0, 10, 5, true, "20 10 10 0  0 100 150 -", 200},
        Case{1, 0, INT_MAX / 4 + 1, 4, false, "0 0 0 0  - - - -", 0},
        Case{30, 0, INT_MAX, 4, false, "0 0 0 0  - - - -", 1431656448},
        Case{6, 0, -100, 50, false, "0 0 0 0  - - - -", 0xFFFFE2B4}}) {
    KelImage_t image{};
    InitKelImage(image, 7, buffer.data(), c.format, false, c.rowBytes, c.width, c.height, c.alpha);
    EXPECT_EQ(Planes(image, buffer.data()), c.planes) << c.format;
    EXPECT_EQ(CalcFrameSize(image, c.alpha), c.size) << c.format;
    EXPECT_EQ(CalcFrameSize(image.format, static_cast<unsigned>(c.width), static_cast<unsigned>(c.height),
                            static_cast<unsigned>(c.rowBytes), c.alpha),
              c.size)
        << c.format;
  }
  EXPECT_EQ(CalcFrameSize(static_cast<EColorFormats>(99), 10, 5, 7, true), 35);
  EXPECT_EQ(CalcFrameSize(kColorFormat10, 10, 5, 0, true), 50);
  EXPECT_EQ(CalcFrameSize(kColorFormatRGB16A, 10, 5, 0, true), 100);
}

TEST(Images, StoreWhatEachFormOfInitIsGiven) {
  const auto stored = [](auto... arguments) {
    TRHOAPIPacket packet(IPacket::kPacketTypeNone, nullptr, nullptr);
    KelImage_t image{};
    image.value1 = image.scale1 = image.extra = 99;
    image.packet = &packet;
    unsigned char byte = 0;
    InitKelImage(image, 7U, &byte, arguments...);
    std::ostringstream text;
    text << image.tag << ' ' << image.format << ' ' << image.formatParam << ' ' << image.width << 'x' << image.height
         << ' ' << image.flipped << ' ' << image.rowBytes[0] << ' ' << image.value0 << ' ' << image.scale0 << ' '
         << image.value1 << ' ' << image.scale1 << ' ' << image.extra << ' ' << (image.packet == nullptr);
    return text.str();
  };
  EXPECT_EQ(stored(1U, true, 64, 5, 4, false), "7 1 1 5x4 1 64 0 1 99 99 99 1");
  EXPECT_EQ(stored(1U, true, 5, 4, false), "7 1 1 5x4 1 20 0 1 99 99 99 1");
  EXPECT_EQ(stored(1U, false, 64, 5, 4, false, 11ULL, 12ULL, 13ULL, 14ULL, 15U), "7 1 1 5x4 0 64 11 12 13 14 15 1");
  EXPECT_EQ(stored(1U, false, 64, 5, 4, false, 11ULL, 12ULL), "7 1 1 5x4 0 64 11 12 0 1 0 1");
  EXPECT_EQ(stored(1U, false, 5, 4, false, 11ULL, 12ULL, 13ULL, 14ULL, 15U), "7 1 1 5x4 0 20 11 12 13 14 15 1");
  EXPECT_EQ(stored(1U, false, 5, 4, false, 11ULL, 12ULL), "7 1 1 5x4 0 20 11 12 0 1 0 1");
  EXPECT_EQ(stored(1U, 3U, false, 64, 5, 4, false, 11ULL, 12ULL, 13ULL, 14ULL, 15U), "7 1 3 5x4 0 64 11 12 13 14 15 1");
  EXPECT_EQ(stored(1U, 3U, false, 64, 5, 4, false, 11ULL, 12ULL), "7 1 3 5x4 0 64 11 12 0 1 0 1");
}

// A frame with room in front and behind, filled so that every byte tells where it comes from.
struct Frame {
  Frame(unsigned format, bool flipped, int rowBytes, int height, bool alpha, unsigned char first) : bytes(20000) {
    std::iota(bytes.begin(), bytes.end(), first);
    InitKelImage(image, 0, bytes.data() + 64, format, flipped, rowBytes, 8, height, alpha);
  }

  Bytes bytes;
  KelImage_t image{};
};

RC_GTEST_PROP(Images, AreCopiedAndFlippedByteByByte, ()) {
  const unsigned format = *rc::gen::element(0U, 1U, 3U, 6U, 9U, 11U, 13U, 17U, 18U, 23U, 24U, 30U, 31U, 32U);
  const int height = *rc::gen::inRange(0, 20);
  const auto rowBytes = rc::gen::element(64, 64, 65, 70, 90);
  const auto flag = rc::gen::arbitrary<bool>();
  const Frame source(format, *flag, *rowBytes, height, *flag, 1);
  Frame target(format, *flag, *rowBytes, height, *flag, 100);
  const bool flips = *flag;
  const bool mirrored = flips || source.image.flipped != target.image.flipped;

  Bytes expected = target.bytes;
  const auto expectPlane = [&](int plane, int rowBytesOf, int rows) {
    const unsigned char* const from = source.image.planes[plane];
    const unsigned char* const to = target.image.planes[plane];
    const int fromStep = source.image.rowBytes[rowBytesOf];
    const int toStep = target.image.rowBytes[rowBytesOf];
    for (int row = 0; from != nullptr && to != nullptr && row < rows; ++row) {
      const auto place = expected.begin() + (to - target.bytes.data()) + (mirrored ? rows - 1 - row : row) * toStep;
      std::copy_n(from + row * fromStep, std::min(fromStep, toStep), place);
    }
  };
  const bool isPlanar = format == 6;
  expectPlane(0, 0, format != 13 && format != 17 && format != 24 && format < 31 ? height : 0);
  expectPlane(3, 0, isPlanar ? height : 0);
  expectPlane(1, 1, isPlanar ? height / 2 : 0);
  expectPlane(2, 1, isPlanar ? height / 2 : 0);

  if (flips) {
    FlipKelImage(source.image, target.image);
  } else {
    CopyKelImage(source.image, target.image, false);
  }
  RC_ASSERT(target.bytes == expected);
  RC_ASSERT(mirrored == (source.image.flipped != target.image.flipped));
}

TEST(Images, ThatDoNotMatchOrCannotBeAreNotCopied) {
  const auto copied = [](auto change) {
    Frame source(6, false, 64, 10, true, 1);
    Frame target(6, false, 64, 10, true, 100);
    source.image.value1 = 5;
    change(source.image, target.image);
    const Bytes before = target.bytes;
    CopyKelImage(source.image, target.image, false);
    return std::string(target.image.value1 == 5 ? "values " : "") + (target.bytes == before ? "" : "pixels");
  };
  EXPECT_EQ(copied([](auto&, auto&) {}), "values pixels");
  EXPECT_EQ(copied([](auto&, auto& target) { target.width = 7; }), "values ");
  EXPECT_EQ(copied([](auto&, auto& target) { target.height = 9; }), "values ");
  EXPECT_EQ(copied([](auto& source, auto&) { source.format = kColorFormatYUV420Planar10; }), "values ");
  EXPECT_EQ(copied([](auto&, auto& target) { target.planes[0] = nullptr; }), "");
  EXPECT_EQ(copied([](auto& source, auto&) { source.planes[0] = nullptr; }), "");
  EXPECT_EQ(copied([](auto& source, auto& target) {
              source.planes[0] = nullptr;
              source.height = target.height = 0;
            }),
            "values ");
  for (const int negative : {-1, -8, INT_MIN}) {
    EXPECT_EQ(copied([=](auto& source, auto& target) { source.width = target.width = negative; }), "values ");
    EXPECT_EQ(copied([=](auto& source, auto& target) { source.height = target.height = negative; }), "values ");
    EXPECT_EQ(copied([=](auto& source, auto& target) {
                source.rowBytes[0] = source.rowBytes[1] = negative;
                target.flipped = 1;
              }),
              "values ");
  }
}

TEST(Images, CarryTheirPacketAsPointerOrClone) {
  TRHOAPIPacket packet(IPacket::kPacketTypeLinearPCM, "desc", "data");
  TRHOAPIPacket other(IPacket::kPacketTypeNone, nullptr, nullptr);
  Frame source(13, false, 64, 4, false, 1);
  Frame target(13, false, 64, 4, false, 1);
  source.image.packet = &packet;
  CopyKelImage(source.image, target.image, false);
  EXPECT_EQ(target.image.packet, &packet);
  CopyKelImage(source.image, target.image, true);
  EXPECT_NE(target.image.packet, &packet);
  EXPECT_EQ(target.image.packet->getDescriptorSize(), 4);
  target.image.packet->destroy();
  source.image.packet = nullptr;
  target.image.packet = &other;
  CopyKelImage(source.image, target.image, true);
  EXPECT_EQ(target.image.packet, &other);
  CopyKelImage(source.image, target.image, false);
  EXPECT_EQ(target.image.packet, nullptr);
}

TEST(Images, AreMovedToAnotherBuffer) {
  static Bytes buffer(10000);
  const auto moved = [](unsigned format, bool alpha) {
    KelImage_t image{};
    InitKelImage(image, 0, nullptr, kColorFormatYUV420Planar8, false, 40, 40, 11, alpha);
    image.format = static_cast<EColorFormats>(format);
    ReplaceYUVImage(image, buffer.data());
    return image.planes[0] == nullptr ? "" : Planes(image, buffer.data());
  };
  EXPECT_EQ(moved(6, true), "40 20 0 40  0 220 320 420");
  EXPECT_EQ(moved(31, false), "40 20 0 0  0 220 320 -");
  for (const unsigned format : {13U, 15U, 24U, 32U}) {
    EXPECT_EQ(moved(format, false), "40 20 0 0  0 220 440 -");
  }
  for (const unsigned format : {0U, 1U, 14U, 16U, 17U, 23U, 30U, 33U}) {
    EXPECT_EQ(moved(format, false), "") << format;
  }
  KelImage_t absurd{kColorFormatYUV444Planar8, 1, 0, INT_MIN, 0, {0, INT_MIN, 0, 0}, {}, 0, 1, 0, 1, 0, 0, nullptr};
  ReplaceYUVImage(absurd, buffer.data());
}

TEST(RowPacking, WritesComponentsMostSignificantByteFirst) {
  for (const bool mirrored : {false, true}) {
    std::vector<unsigned short> pixels(3 * 24);
    std::iota(pixels.begin(), pixels.end(), static_cast<unsigned short>(0x1234));
    Bytes packed(3 * 45, 0xEE);
    KelImage_t source{};
    KelImage_t target{};
    InitKelImage(source, 0, reinterpret_cast<unsigned char*>(pixels.data()), 20, mirrored, 49, 5, 3, false);
    InitKelImage(target, 0, packed.data(), 20, false, 45, 5, 3, false);
    ProResb64aPacking(&source, &target);
    for (std::size_t row = 0; row < 3; ++row) {
      for (std::size_t at = 0; at < 16; ++at) {
        const unsigned component = pixels[(mirrored ? 2 - row : row) * 24 + at];
        EXPECT_EQ(packed[row * 44 + at * 2] << 8U | packed[row * 44 + at * 2 + 1], component) << row << ' ' << at;
      }
      EXPECT_EQ(packed[row * 44 + 32], 0xEE) << "the odd pixel";
    }
    source.height = -3;
    target.rowBytes[0] = INT_MAX;
    ProResb64aPacking(&source, &target);
    ProResb64aPacking(&source, nullptr);
    ProResb64aPacking(nullptr, &target);
  }
}

TEST(ImagesDeathTest, ReportTheOperationInEveryBuild) {
  KelImage_t image{};
  const auto report = [](const std::string& operation, const std::string& file = "Images") {
    return "[: ]Toolbox/KelUtils/" + file + ".cpp:[0-9]+: " + operation + ": Assertion `false' failed";
  };
  for (const unsigned format : {4U, 5U, 7U, 10U, 15U, 25U, 33U}) {
    EXPECT_DEATH(InitKelImage(image, 0, nullptr, format, false, 8, 8, false), report("InitKelImage")) << format;
    EXPECT_DEATH(InitKelImage(image, 0, nullptr, format, false, 64, 8, 8, false), report("InitKelImage")) << format;
  }
  EXPECT_DEATH(CalcFrameSize(kColorFormat7, 8, 8, 0, false), report("GetBytesPerPixel", "ColorFormats"));
  KelImage_t other = image;
  other.width = 1;
  EXPECT_DEATH(FlipKelImage(image, other), report("FlipKelImage"));
}

}  // namespace
