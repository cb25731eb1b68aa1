#include "Host/Text/Messages.h"

#include "Host/Text/Errors.h"
#include "Host/Text/Utf8.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>

namespace {

/// Whether a terminal could act on the character, or it could disguise a text. See WithoutControls.
bool IsControl(char32_t c) {
  // C0, DEL and C1; among them are ESC and CSI, which begin escape sequences.
  const bool isCommand = c < 0x20 || (c >= 0x7F && c < 0xA0);
  const bool isSeparator = c == 0x2028 || c == 0x2029;
  // Arabic letter mark, left-to-right and right-to-left marks, embeddings and overrides, isolates.
  const bool isDirection =
      c == 0x061C || c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
  return isCommand || isSeparator || isDirection;
}

/// Calls `append` with each character of the text, or with its replacement.
template <class Append>
void ForEachHarmless(std::string_view text, Append append) {
  while (!text.empty()) {
    const Utf8Character character = FirstCharacter(text);
    append(character.isValid && !IsControl(character.codePoint) ? text.substr(0, character.length) : "?");
    text.remove_prefix(character.length);
  }
}

}  // namespace

std::string WithoutControls(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  ForEachHarmless(text, [&result](std::string_view character) { result.append(character); });
  return result;
}

void PrintMessage(std::string_view text) {
  constexpr std::string_view kStart = "rhohost: ";
  // On the stack: this function reports that memory has run out.
  std::array<char, 4096> line{};
  std::size_t held = kStart.copy(line.data(), kStart.size());
  const auto write = [&line, &held](std::string_view character) {
    if (character.size() > line.size() - held) {
      std::fwrite(line.data(), 1, held, stderr);
      held = 0;
    }
    held += character.copy(line.data() + held, character.size());
  };
  // A long line takes several writes, between which no other thread may write.
  flockfile(stderr);
  ForEachHarmless(text, write);
  write("\n");
  std::fwrite(line.data(), 1, held, stderr);
  funlockfile(stderr);
}

void Print(const std::string& text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
    throw SystemFailure("standard output", "write", errno);
  }
}
