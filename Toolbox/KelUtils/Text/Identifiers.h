#pragma once

/// Unique identifiers.

#include "RHOAPI/RHOAPIExport.h"

#include <string>

/// A new UUID as text: 36 characters, lower case, no braces. Throws std::runtime_error when the system provides no
/// random numbers; a build with libuuid does not, since libuuid then falls back to the clock.
///   KelGetGUID() is for example "0b5a3c0e-7c1f-4f0a-9d3e-2f6b8c1d4e5f"
RHOAPI_EXPORT std::string KelGetGUID();
