#include "Toolbox/KelUtils/Checksums.h"

#include "Tests/Support/TemporaryFolder.h"
#include "Toolbox/KelUtils/CyclicRemainder.h"

#include <gtest/gtest.h>

#include <climits>
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

template <unsigned Width, unsigned Polynomial>
unsigned short LookedUp(unsigned char* data, int length, unsigned short crc) {
  const auto remainder = static_cast<std::uint16_t>(crc << (16 - Width));
  using Remainder = CyclicRemainder<static_cast<std::uint16_t>(Polynomial << (16 - Width))>;
  return static_cast<unsigned short>(Remainder::Update(remainder, data, static_cast<std::size_t>(length)) >>
                                     (16 - Width));
}

struct Implementation {
  const char* name;
  unsigned short initialMask;
  Checksum sum, oracle;
};

class Checksums : public testing::TestWithParam<Implementation> {
 protected:
  void ExpectAsDefined(std::size_t offset, int length) {
    const auto initial = static_cast<unsigned short>(m_random() & GetParam().initialMask);
    unsigned char* const start = m_bytes.data() + offset;
    ASSERT_EQ(GetParam().sum(start, length, initial), GetParam().oracle(start, length, initial))
        << length << " bytes at " << offset << " from " << initial;
  }

  std::mt19937 m_random{20};
  std::vector<unsigned char> m_bytes = [this] {
    std::vector<unsigned char> bytes(8192);
    for (unsigned char& byte : bytes) {
      byte = static_cast<unsigned char>(m_random());
    }
    return bytes;
  }();
};

TEST_P(Checksums, AreAsDefinedAtEveryLengthAndAlignment) {
  for (int length = 0; length <= 4000; ++length) {
    ExpectAsDefined(m_random() % 4000, length);
  }
  for (std::size_t offset = 0; offset < 64; ++offset) {
    for (int length = 0; length <= 200; ++length) {
      ExpectAsDefined(offset, length);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(, Checksums,
                         testing::Values(Implementation{"Of8Bits", 0xFF, Calc8BitCRC, BitByBit<8, 0xD5>},
                                         Implementation{"Of16Bits", 0xFFFF, Calc16BitCRC, BitByBit<16, 0x1021>},
                                         Implementation{"Of8BitsLookedUp", 0xFF, LookedUp<8, 0xD5>, BitByBit<8, 0xD5>},
                                         Implementation{"Of16BitsLookedUp", 0xFFFF, LookedUp<16, 0x1021>,
                                                        BitByBit<16, 0x1021>}),
                         [](const auto& test) { return test.param.name; });

TEST(PublishedChecksums, ComeOut) {
  std::string digits = "123456789";
  auto* const data = reinterpret_cast<unsigned char*>(digits.data());
  EXPECT_EQ(Calc16BitCRC(data, 9, 0xFFFF), 0x29B1);
  EXPECT_EQ(Calc16BitCRC(data, 9, 0), 0x31C3);
  EXPECT_EQ(Calc16BitCRC(data + 4, 5, Calc16BitCRC(data, 4, 0)), 0x31C3);
  EXPECT_EQ(Calc8BitCRC(data, 9, 0), 0xBC);
  EXPECT_EQ(Calc8BitCRC(data, 9, 0xFF), 0x7C);
  EXPECT_EQ(Calc8BitCRC(data, 9, 0x12FF), 0x7C) << "only the low byte of the initial value counts";
}

TEST(ChecksumsOfNothing, AreTheInitialValue) {
  unsigned char byte = 1;
  short sample = 1;
  for (const int none : {0, -1, INT_MIN}) {
    EXPECT_EQ(Calc8BitCRC(&byte, none, 0x1234), 0x1234);
    EXPECT_EQ(Calc16BitCRC(&byte, none, 0x1234), 0x1234);
    EXPECT_EQ(Calc16BitCRCShort(&sample, none, 1, 1, 0x1234), 0x1234);
    EXPECT_EQ(Calc16BitCRCShort(&sample, 1, none, 1, 0x1234), 0x1234);
  }
  EXPECT_EQ(Calc8BitCRC(nullptr, 1, 7) + Calc16BitCRC(nullptr, 1, 7) + Calc16BitCRCShort(nullptr, 1, 1, 1, 7), 21);
}

TEST(ChecksumsOfSamples, AreThoseOfTheirLowBytesRowByRow) {
  std::mt19937 random(7);
  std::vector<short> samples(40000);
  for (short& sample : samples) {
    sample = static_cast<short>(random());
  }
  const int shapes[][3] = {{2, 2, 3}, {1, 9, 1}, {5000, 3, 5001}, {100, 20, 7}, {2049, 4, -3000}, {64, 5, 0}};
  for (const auto& [width, height, stride] : shapes) {
    short* const first = samples.data() + (stride < 0 ? -stride * (height - 1) : 0);
    std::vector<unsigned char> bytes;
    for (int index = 0; index < width * height; ++index) {
      bytes.push_back(static_cast<unsigned char>(first[index / width * stride + index % width]));
    }
    EXPECT_EQ(Calc16BitCRCShort(first, width, height, stride, 0x55AA),
              (BitByBit<16, 0x1021>(bytes.data(), width * height, 0x55AA)))
        << width << " x " << height << " by " << stride;
  }
}

std::string TableText(unsigned polynomial, unsigned width) {
  const TemporaryFolder folder;
  std::string path = folder.Path("table.h");
  EXPECT_EQ(CreateCRCTab(polynomial, path.data(), width), 0U);
  return ReadFile(path);
}

unsigned Entry(const std::string& text, unsigned index) {
  return static_cast<unsigned>(std::stoul(text.substr(32 + index * 10 + index / 8 * 2, 6), nullptr, 16));
}

TEST(ChecksumTables, AreSourceTextOfTheTablesInUse) {
  const std::string table = TableText(0x1021, 16);
  EXPECT_EQ(table.substr(0, 116),
            "unsigned int pnCRCTab[256] = {\n\t0x0000,  0x1021,  0x2042,  0x3063,  0x4084,  0x50A5,  0x60C6,  0x70E7,  "
            "\n\t0x");
  EXPECT_EQ(table.substr(table.size() - 14), "0x1EF0,  \n};\n");
  EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 34);
  const std::string wide = TableText(0xD500, 16);
  const std::string narrow = TableText(0x1021, 8);
  for (unsigned index = 0; index < 256; ++index) {
    auto byte = static_cast<unsigned char>(index);
    EXPECT_EQ(Entry(table, index), Calc16BitCRC(&byte, 1, 0)) << index;
    EXPECT_EQ(Entry(wide, index), Calc8BitCRC(&byte, 1, 0) << 8) << index;
    EXPECT_EQ(Entry(narrow, index), Entry(table, index) & 0xFFU) << index;
  }
  EXPECT_EQ(Entry(TableText(0x1021, 32), 255), 0U);
  EXPECT_NE(TableText(0x1021, 24).find(",  0xF1EF0,  \n};\n"), std::string::npos) << "wider than the polynomial";
}

TEST(ChecksumTables, SayWhenTheFileCannotBeOpened) {
  std::string folder = "/";
  EXPECT_EQ(CreateCRCTab(0x1021, folder.data(), 16), 1U);
  EXPECT_EQ(CreateCRCTab(0x1021, nullptr, 16), 1U);
}

}  // namespace
