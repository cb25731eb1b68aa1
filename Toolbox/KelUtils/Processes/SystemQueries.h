#pragma once

/// The running program, its user and its machine.

#include "RHOAPI/RHOAPIExport.h"

#include <string>

/// The absolute path of the running program, which is the host, not the plug-in. When the file has been removed or
/// replaced since, the path that it had. False, and `fileName` unchanged, when the path is unknown or longer than 1023
/// bytes.
RHOAPI_EXPORT bool KelGetCurrentExecutableAbsoluteFileName(std::string& fileName);

/// The folder of that program, with a trailing separator.
RHOAPI_EXPORT bool KelGetFolderPathForCurrentExecutable(std::string& folder);

/// The value of the environment variable HOME; empty when it is not set.
RHOAPI_EXPORT std::string KelGetCurrentUserHomeDir();

/// The number of processors online; 1 when it is unknown.
RHOAPI_EXPORT int KelGetNumberProcessorsInSystem();
