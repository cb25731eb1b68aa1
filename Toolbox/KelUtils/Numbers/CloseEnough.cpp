#include "Toolbox/KelUtils/Numbers/CloseEnough.h"

#include <cmath>

bool KelCloseEnough(float a, float b, float tolerance) { return std::fabs(a - b) <= tolerance; }

bool KelCloseEnough(double a, double b, double tolerance) { return std::fabs(a - b) <= tolerance; }
