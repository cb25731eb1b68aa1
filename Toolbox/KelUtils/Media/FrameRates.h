#pragma once

/// The standard video frame rates, 1 to 240 frames per second, and two ways to find one. The fractional ones are these
/// decimal values, not quotients: 23.976, 29.97, 59.94, 119.88 and 239.76.

#include "RHOAPI/RHOAPIExport.h"

/// The standard rate nearest to `rate`, the lower of two that are equally near; 0 when it is farther away than
/// `tolerance`. Either way `difference`, unless null, receives the nearest rate minus `rate`. NaN is near none.
///   KelFindClosestStdFrameRate(29.971, 0.01, &d) == 29.97 and d is about -0.001
RHOAPI_EXPORT double KelFindClosestStdFrameRate(double rate, double tolerance, double* difference);

/// The lowest standard rate from 3.0 upwards that is not below `rate` by 0.02 or more; `rate` itself when all are, or
/// when it is NaN.
///   KelFindNextStdFrameRate(29.98) == 29.97, KelFindNextStdFrameRate(30.5) == 50.0
RHOAPI_EXPORT double KelFindNextStdFrameRate(double rate);
