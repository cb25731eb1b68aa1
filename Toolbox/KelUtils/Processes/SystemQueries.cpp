#include "Toolbox/KelUtils/Processes/SystemQueries.h"

#include "Toolbox/KelUtils/Files/Paths.h"
#include "Toolbox/KelUtils/Platform/Internal/Platform.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

bool KelGetCurrentExecutableAbsoluteFileName(std::string& fileName) { return ReadExecutablePath(fileName); }

bool KelGetFolderPathForCurrentExecutable(std::string& folder) {
  std::string fileName;
  std::string name;
  return KelGetCurrentExecutableAbsoluteFileName(fileName) && KelParseFilePath(fileName, folder, name);
}

std::string KelGetCurrentUserHomeDir() {
  const char* const home = std::getenv("HOME");
  return home == nullptr ? "" : home;
}

int KelGetNumberProcessorsInSystem() { return CountProcessors(); }

void svdprintf(const char* format, ...) {
  std::array<char, 512> text{};
  std::va_list arguments;
  va_start(arguments, format);
  const int length = format == nullptr ? 0 : std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  if (length > 0) {
    std::fputs(text.data(), stderr);
  }
}
