#include "Toolbox/KelUtils/Media/ColorFormats.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

// All pairs of formats for which `query` is true: " 1>1,3" stands for 1 and 1, 1 and 3.
std::string Pairs(bool (*query)(EColorFormats, EColorFormats)) {
  std::ostringstream text;
  for (unsigned from = 0; from < 70; ++from) {
    char mark = '>';
    for (unsigned to = 0; to < 70; ++to) {
      if (query(static_cast<EColorFormats>(from), static_cast<EColorFormats>(to))) {
        (mark == '>' ? text << ' ' << from : text) << mark << to;
        mark = ',';
      }
    }
  }
  return text.str();
}

TEST(ColorFormats, HaveTheirPublishedProperties) {
  const std::string bytes = "3434221--212-1---18888882-----422";
  const std::string bits = "88888888888888888-ACGACGACGACGAAA--";
  const std::string families = "RRRRRRP      PPPP RRRRRRPPPPPP PP  ";
  for (unsigned value = 0; value < families.size(); ++value) {
    const auto format = static_cast<EColorFormats>(value);
    if (value < bytes.size() && bytes[value] != '-') {
      EXPECT_EQ(GetBytesPerPixel(format), bytes[value] - '0') << value;
    }
    EXPECT_EQ(KelGetBitResolution(format), bits[value] == '8' ? 8 : bits[value] == '-' ? 0 : bits[value] - 'A' + 10);
    EXPECT_EQ(KelIsARGBFormat(format), families[value] == 'R') << value;
    EXPECT_EQ(KelIsPlanarYuvFormat(format), families[value] == 'P') << value;
  }
}

TEST(ColorFormats, ConvertAsPublished) {
  EXPECT_EQ(Pairs(KelCanDoColorConversion),
            " 0>0,1,2,3,4,5,6 1>0,1,2,3,4,5,6,9,11,13 2>0,1,2,3,4,5,6 3>0,1,2,3,4,5,6,9,11,13 4>0,1,2,3,4,5 "
            "5>0,1,2,3,4,5 6>0,1,2,3,6,8,9,10,11 8>6 9>6 11>1,3,6 13>1,3 18>1,3,4,5,6,9,11,18,21,24,30,31,32 "
            "19>1,3,4,5,6,9,11,18,19,21,22,24,30,31,32 20>1,3,4,5,6,9,11,18,19,20,21,22,23,24,30,31,32 "
            "21>1,3,4,5,6,9,11,18,21,24,30,31,32 22>1,3,4,5,6,9,11,18,19,21,22,24,30,31,32 "
            "23>1,3,4,5,6,9,11,18,19,20,21,22,23,24,30,31,32 30>6");
  EXPECT_TRUE(KelAreColorFormatsCompatible(kColorFormat10, kColorFormat10));
  EXPECT_TRUE(KelAreColorFormatsCompatible(static_cast<EColorFormats>(99), static_cast<EColorFormats>(99)));
  EXPECT_TRUE(KelAreColorFormatsCompatible(kColorFormat8, kColorFormatYUV420Planar8));
  EXPECT_FALSE(KelAreColorFormatsCompatible(kColorFormat10, kColorFormatYUV420Planar8));
}

TEST(ColorFormats, SwapTheirComponents) {
  EXPECT_EQ(Pairs(KelAreComponentsSwapped),
            " 0>0,1,2,3,4,5 1>0,1,2,3,4,5 2>0,1,2,3,4,5 3>0,1,2,3,4,5 4>0,1,2,3,4,5 5>0,1,2,3,4,5 "
            "18>18,21 19>19,22 20>20,23 21>18,21 22>19,22 23>20,23");
  EXPECT_EQ(Pairs(KelGetChangeBitResolutionSwapComponentOrder),
            " 1>3,21,22,23 3>1,18,19,20 18>3,21,22,23 19>3,21,22,23 20>3,21,22,23 21>1,18,19,20 22>1,18,19,20 "
            "23>1,18,19,20");
}

TEST(ColorFormatsDeathTest, WithoutBytesAreReported) {
  for (const unsigned format : {7U, 12U, 16U, 29U, 33U, ~0U}) {
    EXPECT_DEATH(GetBytesPerPixel(static_cast<EColorFormats>(format)),
                 "[: ]Toolbox/KelUtils/Media/ColorFormats.cpp:[0-9]+: GetBytesPerPixel: Assertion `false' failed");
  }
}

}  // namespace
