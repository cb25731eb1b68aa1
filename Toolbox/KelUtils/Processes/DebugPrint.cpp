#include "Toolbox/KelUtils/Processes/DebugPrint.h"

#include <array>
#include <cstdarg>
#include <cstdio>

void svdprintf(const char* format, ...) {
  std::array<char, 512> text{};
  std::va_list arguments;
  va_start(arguments, format);
  const int length = format == nullptr ? 0 : std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  // Negative after an encoding error, when the content of the buffer is unspecified.
  if (length > 0) {
    std::fputs(text.data(), stderr);
  }
}
