#pragma once

#include <cmath>
#include <limits>
#include <type_traits>

/// `value` truncated to `To`; the nearest limit of `To` when it does not fit, and 0 for NaN. Defined for every input,
/// unlike a plain conversion.
///   SaturatingCast<unsigned int>(1602.1) == 1602, SaturatingCast<unsigned int>(-3.0) == 0
template <class To>
To SaturatingCast(double value) {
  static_assert(std::is_integral_v<To>);
  using Limits = std::numeric_limits<To>;
  // Both bounds are powers of two or 0, and so exact as doubles for every width of To.
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
