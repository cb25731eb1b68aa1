#include "Toolbox/KelUtils/Media/FrameRates.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr std::array<double, 19> kFrameRates{1.0,   3.0,  5.0,  8.0,   10.0, 12.0,   15.0,  23.976, 24.0, 25.0,
                                             29.97, 30.0, 50.0, 59.94, 60.0, 119.88, 120.0, 239.76, 240.0};

}  // namespace

double KelFindClosestStdFrameRate(double rate, double tolerance, double* difference) {
  const auto distance = [rate](double standard) { return std::fabs(standard - rate); };
  const double best = *std::min_element(kFrameRates.begin(), kFrameRates.end(),
                                        [&](double left, double right) { return distance(left) < distance(right); });
  if (difference != nullptr) {
    *difference = best - rate;
  }
  return distance(best) <= tolerance ? best : 0.0;
}

double KelFindNextStdFrameRate(double rate) {
  constexpr double kSlack = 0.02;
  const auto* const next = std::find_if(kFrameRates.begin() + 1, kFrameRates.end(),
                                        [rate](double standard) { return rate - standard < kSlack; });
  return next == kFrameRates.end() ? rate : *next;
}
