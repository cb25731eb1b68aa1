#include "Host/Text/Messages.h"

#include "Host/Text/Errors.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>

namespace {

bool IsControl(char character) { return static_cast<unsigned char>(character) < ' ' || character == 0x7F; }

}  // namespace

std::string WithoutControls(std::string text) {
  std::replace_if(text.begin(), text.end(), IsControl, '?');
  return text;
}

void PrintMessage(std::string_view text) {
  constexpr std::string_view kStart = "rhohost: ";
  std::array<char, 4096> line{};
  std::size_t held = kStart.copy(line.data(), kStart.size());
  for (const char character : text) {
    line[held++] = IsControl(character) ? '?' : character;
    if (held == line.size()) {
      std::fwrite(line.data(), 1, held, stderr);
      held = 0;
    }
  }
  line[held++] = '\n';
  std::fwrite(line.data(), 1, held, stderr);
}

void Print(const std::string& text) {
  if (std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0) {
    throw SystemFailure("standard output", "write", errno);
  }
}
