#pragma once

/// Floating-point values compared with a tolerance.

#include "RHOAPI/RHOAPIExport.h"

/// Whether a and b are at most `tolerance` apart, computed in the precision of the arguments. False when any of the
/// three is not a number, and for two equal infinities, whose difference is not a number.
///   KelCloseEnough(1.0, 1.5, 0.5) is true
RHOAPI_EXPORT bool KelCloseEnough(float a, float b, float tolerance);
RHOAPI_EXPORT bool KelCloseEnough(double a, double b, double tolerance);
