#include "Toolbox/KelUtils/Checksums/Checksums.h"

#include "Tests/Support/TemporaryFolder.h"
#include "Toolbox/KelUtils/Checksums/Internal/CarrylessRemainder.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <deque>
#include <iomanip>
#include <random>
#include <sstream>
#include <vector>

namespace {

using Checksum = unsigned short (*)(unsigned char*, int, unsigned short);

// The definition, bit by bit.
template <unsigned Width, unsigned Polynomial>
unsigned short BitByBit(unsigned char* data, int length, unsigned short crc) {
  unsigned remainder = crc;
  for (int index = 0; index < length; ++index) {
    remainder ^= static_cast<unsigned>(data[index]) << (Width - 8);
    for (int bit = 0; bit < 8; ++bit) {
      remainder = (remainder >> (Width - 1) & 1U) != 0 ? remainder << 1U ^ Polynomial : remainder << 1U;
    }
    remainder &= (1U << Width) - 1;
  }
  return static_cast<unsigned short>(remainder);
}

// By tables alone, or by one of the processor's methods.
template <std::uint16_t Polynomial, int kMethod>
unsigned short By(unsigned char* data, int length, unsigned short crc) {
  static const CarrylessMethod method =
      kMethod < 0 ? CarrylessMethod() : FindCarrylessMethods()[static_cast<std::size_t>(std::max(kMethod, 0))];
  return UpdateByMethod<Polynomial>(method, crc, data, static_cast<std::size_t>(std::max(length, 0)));
}

TEST(Checksums, AreAsDefinedAtEveryLengthAndAlignment) {
  std::mt19937 random(20);
  std::vector<unsigned char> bytes(70000);
  std::generate(bytes.begin(), bytes.end(), random);
  // Every length up to 4000 at some place, and every short length at every alignment.
  std::deque<std::pair<std::size_t, int>> places{{1, 65535}, {3, 65537}};
  for (int run = 0; run < 4000 + 64 * 200; ++run) {
    places.emplace_back(run < 4000 ? random() % 4000 : static_cast<unsigned>(run) % 64,
                        run < 4000 ? run - 1 : run / 64 - 63);
  }
  using Case = std::tuple<unsigned, unsigned, Checksum, Checksum>;
  for (const auto& [polynomial, initialMask, sum, definition] :
       {Case(0xD5, 0xFF, Calc8BitCRC, BitByBit<8, 0xD5>), Case(0x1021, 0xFFFF, Calc16BitCRC, BitByBit<16, 0x1021>),
        Case(0x1021, 0xFFFF, By<0x1021, -1>, BitByBit<16, 0x1021>),
        Case(0xD500, 0xFFFF, By<0xD500, -1>, BitByBit<16, 0xD500>),
        Case(0x1021, 0xFFFF, By<0x1021, 0>, BitByBit<16, 0x1021>),
        Case(0x1021, 0xFFFF, By<0x1021, 1>, BitByBit<16, 0x1021>)}) {
    for (const auto& [offset, length] : places) {
      const auto initial = static_cast<unsigned short>(random() & initialMask);
      ASSERT_EQ(sum(&bytes[offset], length, initial), definition(&bytes[offset], length, initial))
          << length << " bytes at " << offset << " from " << initial << " by " << polynomial;
    }
  }
}

TEST(PublishedChecksums, ComeOut) {
  std::string digits = "123456789";
  auto* const data = reinterpret_cast<unsigned char*>(digits.data());
  EXPECT_EQ(Calc16BitCRC(data, 9, 0xFFFF), 0x29B1);
  EXPECT_EQ(Calc16BitCRC(data + 4, 5, Calc16BitCRC(data, 4, 0)), 0x31C3);
  EXPECT_EQ(Calc8BitCRC(data, 9, 0), 0xBC);
  EXPECT_TRUE(Calc8BitCRC(data, 9, 0x12FF) == 0x7C && Calc8BitCRC(data, 0, 0x12FF) == 0x12FF) << "the low byte counts";
  EXPECT_EQ(Calc8BitCRC(nullptr, 1, 7), 7);
  EXPECT_EQ(Calc16BitCRC(nullptr, 1, 7), 7);
  EXPECT_EQ(Calc16BitCRCShort(nullptr, 1, 1, 1, 7), 7);
}

TEST(ChecksumsOfSamples, AreThoseOfTheirLowBytesRowByRow) {
  std::mt19937 random(7);
  std::vector<short> samples(40000);
  std::generate(samples.begin(), samples.end(), random);
  const int shapes[][3] = {{2, 2, 3}, {1, 9, 1}, {5000, 3, 5001}, {2049, 4, -3000}, {64, 5, 0}, {-1, 5, 1}, {5, -1, 1}};
  for (const auto& [width, height, stride] : shapes) {
    short* const first = samples.data() + (stride < 0 ? -stride * (height - 1) : 0);
    std::string bytes;
    for (int index = 0; index < width * height; ++index) {
      bytes += static_cast<char>(first[index / width * stride + index % width]);
    }
    EXPECT_EQ(Calc16BitCRCShort(first, width, height, stride, 0x55AA),
              (BitByBit<16, 0x1021>(reinterpret_cast<unsigned char*>(bytes.data()), width * height, 0x55AA)))
        << width << " x " << height << " by " << stride;
  }
}

TEST(ChecksumTables, AreSourceTextOfTheTablesInUse) {
  const TemporaryFolder folder;
  std::string path = folder / "table.h";
  for (const auto& [polynomial, width] : {std::pair{0x1021U, 16U}, {0xD500U, 16U}, {0x1021U, 7U}, {0x1021U, 32U}}) {
    std::ostringstream expected;
    expected << "unsigned int pnCRCTab[256] = {" << std::hex << std::uppercase << std::setfill('0');
    for (unsigned index = 0; index < 256; ++index) {
      auto byte = static_cast<unsigned char>(index);
      const unsigned entry = polynomial == 0x1021 ? Calc16BitCRC(&byte, 1, 0) : Calc8BitCRC(&byte, 1, 0) * 0x100U;
      expected << (index % 8 == 0 ? "\n\t0x" : "0x") << std::setw(4) << (entry & ((1ULL << width % 32) - 1)) << ",  ";
    }
    EXPECT_EQ(CreateCRCTab(polynomial, path.data(), width), 0U);
    EXPECT_EQ(ReadFile(path), expected.str() + "\n};\n");
  }
  EXPECT_EQ(CreateCRCTab(0x1021, path.data(), 24), 0U);
  EXPECT_NE(ReadFile(path).find(",  0xF1EF0,  \n};\n"), std::string::npos) << "wider than the register";
  std::string noFile = "/";
  EXPECT_EQ(CreateCRCTab(0x1021, noFile.data(), 16), 1U);
  EXPECT_EQ(CreateCRCTab(0x1021, nullptr, 16), 1U);
}

}  // namespace
