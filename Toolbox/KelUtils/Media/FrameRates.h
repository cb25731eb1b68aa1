#pragma once

/// The standard video frame rates, 1 to 240 frames per second, and two look-ups. The fractional rates are decimal
/// values, not quotients: 23.976, 29.97, 59.94, 119.88 and 239.76.

#include "RHOAPI/RHOAPIExport.h"

/// The standard rate nearest to `rate`, the lower of two that are equally near; 0 when the distance is more than
/// `tolerance`. In both cases `difference`, unless null, receives the nearest rate minus `rate`. NaN gives 0 and NaN.
///   KelFindClosestStdFrameRate(29.971, 0.01, &d) == 29.97 and d is about -0.001
RHOAPI_EXPORT double KelFindClosestStdFrameRate(double rate, double tolerance, double* difference);

/// The lowest standard rate, from 3.0 upward, that is greater than `rate` - 0.02; `rate` itself when there is none or
/// `rate` is NaN.
///   KelFindNextStdFrameRate(29.98) == 29.97, KelFindNextStdFrameRate(30.5) == 50.0
RHOAPI_EXPORT double KelFindNextStdFrameRate(double rate);
