#pragma once

/// Where a program runs, for whom and on what, and a word to standard error.

#include "RHOAPI/RHOAPIExport.h"

#include <string>

/// The absolute path of the program that runs: of the host, not of the plug-in. False, and `fileName` as it was, when
/// it cannot be found or takes 1024 bytes or more.
RHOAPI_EXPORT bool KelGetCurrentExecutableAbsoluteFileName(std::string& fileName);

/// The folder of that program, with a trailing separator.
RHOAPI_EXPORT bool KelGetFolderPathForCurrentExecutable(std::string& folder);

/// What the environment variable HOME holds; empty when it is not set.
RHOAPI_EXPORT std::string KelGetCurrentUserHomeDir();

/// Number of processors that are online; 1 when that cannot be found out.
RHOAPI_EXPORT int KelGetNumberProcessorsInSystem();

/// Formats as printf does and writes at most 511 characters of it to standard error, without adding a line's end.
[[gnu::format(printf, 1, 2)]] RHOAPI_EXPORT void svdprintf(const char* format, ...);
