#pragma once

#include "RHOAPI/RHOAPIExport.h"

/// Formats as printf does and writes the first 511 characters of the result to standard error. Adds no line feed. A
/// null format writes nothing.
[[gnu::format(printf, 1, 2)]] RHOAPI_EXPORT void svdprintf(const char* format, ...);
