#pragma once

/// Comparing floating-point values with a tolerance.

#include "RHOAPI/RHOAPIExport.h"

/// Whether the difference of a and b is at most `tolerance`, computed in the precision of the arguments. False when one
/// of the three is NaN, and for two equal infinities, whose difference is NaN.
///   KelCloseEnough(1.0, 1.5, 0.5) is true
RHOAPI_EXPORT bool KelCloseEnough(float a, float b, float tolerance);
/// The same in double precision.
RHOAPI_EXPORT bool KelCloseEnough(double a, double b, double tolerance);
