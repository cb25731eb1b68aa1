#pragma once

/// Names that nobody else has.

#include "RHOAPI/RHOAPIExport.h"

#include <string>

/// A new UUID of the platform's in its text form: 36 characters, lower case, no braces. Throws std::runtime_error when
/// the system has no random numbers to make it of; libuuid, where it is used, then takes the clock instead.
///   KelGetGUID() is for example "0b5a3c0e-7c1f-4f0a-9d3e-2f6b8c1d4e5f"
RHOAPI_EXPORT std::string KelGetGUID();
