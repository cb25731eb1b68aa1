#include "Toolbox/KelUtils.h"

#include <gtest/gtest.h>
#include <climits>
#include <cmath>

namespace {

TEST(TimeText, HasLeadingZeros) {
  EXPECT_EQ(KelTimeCodeToString({1, 2, 3, 4, 9, true}, false), "1:02:03:004");
  EXPECT_EQ(KelMakeTimeStamp(ULLONG_MAX, 1), "5124095576030.25.50.616");  // the product wraps around
  EXPECT_EQ(KelMakeTimeStamp(-3723004099LL, 1000000), "-01.02.03.004");
  EXPECT_EQ(KelMakeTimeStamp(LLONG_MIN, 0), "-00.00.00.000");
}

TEST(RebaseTime, RoundsToTheNearestTick) {
  constexpr unsigned long long kMax = ULLONG_MAX;
  const unsigned long long rows[][4] = {
      {1470, 44100, 1000, 33},          {1, 2, 1, 1},    {kMax, 7, 7, kMax}, {kMax, 1, 2, kMax},
      {1ULL << 62U, 1, 3, 3ULL << 62U}, {5, 0, 1, kMax}, {0, 0, 1, 0},       {5, 0, 0, 5},
      {kMax, 3, 1, 6148914691236516864}};  // a double keeps 53 bits
  for (const auto& [time, from, to, expected] : rows) {
    EXPECT_EQ(KelUtils::rebaseTime(time, from, to), expected) << time << " from " << from << " to " << to;
  }
}

TEST(FrameRates, AreFoundByNearnessOrFromBelow) {
  double difference = 0;
  EXPECT_EQ(KelFindClosestStdFrameRate(29.971, 0.0001, &difference), 0.0);
  EXPECT_NEAR(difference, -0.001, 1e-9);
  EXPECT_EQ(KelFindClosestStdFrameRate(2.0, 5.0, nullptr), 1.0);
  for (const double rate : {3.0, 5.0, 8.0, 10.0, 12.0, 15.0, 23.976, 24.0, 25.0, 29.97, 30.0, 50.0, 59.94, 60.0, 119.88,
                            120.0, 239.76, 240.0}) {
    EXPECT_EQ(KelFindClosestStdFrameRate(rate + 0.001, 0.01, nullptr), rate);
    EXPECT_TRUE(KelFindNextStdFrameRate(rate - 0.003) == rate && KelFindNextStdFrameRate(rate + 0.019) == rate) << rate;
  }
  EXPECT_EQ(KelFindNextStdFrameRate(1.0), 3.0);
  EXPECT_EQ(KelFindNextStdFrameRate(240.02), 240.02);
  EXPECT_EQ(KelFindClosestStdFrameRate(NAN, HUGE_VAL, &difference), 0.0);
  EXPECT_TRUE(std::isnan(difference) && std::isnan(KelFindNextStdFrameRate(NAN)));
}

TEST(CloseEnough, ComputesInThePrecisionOfItsArguments) {
  EXPECT_TRUE(KelCloseEnough(16777216.0F, -1.0F, 16777216.0F));  // no float equals 16777217
  EXPECT_FALSE(KelCloseEnough(16777216.0, -1.0, 16777216.0) || KelCloseEnough(1.0, 1.0, std::nan("")));
}

}  // namespace
