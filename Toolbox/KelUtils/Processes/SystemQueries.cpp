#include "Toolbox/KelUtils/Processes/SystemQueries.h"

#include "Toolbox/KelUtils/Files/Paths.h"
#include "Toolbox/KelUtils/Platform/Internal/Platform.h"
#include "Toolbox/KelUtils/Text/OrEmpty.h"

#include <cstdlib>

bool KelGetCurrentExecutableAbsoluteFileName(std::string& fileName) { return ReadExecutablePath(fileName); }

bool KelGetFolderPathForCurrentExecutable(std::string& folder) {
  std::string fileName;
  std::string name;
  return KelGetCurrentExecutableAbsoluteFileName(fileName) && KelParseFilePath(fileName, folder, name);
}

std::string KelGetCurrentUserHomeDir() { return OrEmpty(std::getenv("HOME")); }

int KelGetNumberProcessorsInSystem() { return CountProcessors(); }
