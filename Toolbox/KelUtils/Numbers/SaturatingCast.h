#pragma once

#include <cmath>
#include <limits>
#include <type_traits>

/// `value` without its fraction, as `To`; the nearest limit of `To` where it does not fit, and 0 for NaN. Defined for
/// every input, unlike the plain conversion.
///   SaturatingCast<unsigned int>(1602.1) == 1602, SaturatingCast<unsigned int>(-3.0) == 0
template <class To>
To SaturatingCast(double value) {
  static_assert(std::is_integral_v<To>);
  using Limits = std::numeric_limits<To>;
  // Both bounds are powers of two (or 0), so they are exact as doubles whatever the width of To.
  const double beyondMax = std::ldexp(1.0, Limits::digits);
  const auto min = static_cast<double>(Limits::min());
  if (std::isnan(value)) {
    return 0;
  }
  if (value >= beyondMax) {
    return Limits::max();
  }
  return value <= min ? Limits::min() : static_cast<To>(value);
}
