#include "Host/Text/Utf8.h"

#include <clocale>  // newlocale
#include <cwchar>   // wcwidth

#include <limits>

namespace {

/// Columns by the C library's table, which only a UTF-8 locale has; the program's own locale stays as it is.
std::size_t Columns(char32_t codePoint) {
  static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  if (codePoint < 0x80 || utf8 == nullptr) {
    return 1;
  }
  // uselocale changes this thread alone.
  const locale_t previous = uselocale(utf8);
  const int columns = wcwidth(static_cast<wchar_t>(codePoint));
  uselocale(previous);
  // wcwidth returns -1 for what it does not know as printable.
  return columns < 0 ? 1 : static_cast<std::size_t>(columns);
}

/// The longest beginning of `text` whose characters' sizes add up to `limit` at most; `limit` becomes their sum.
template <class Size>
std::string_view CutBy(std::string_view text, std::size_t& limit, Size sizeOf) {
  std::size_t cut = 0;
  std::size_t sum = 0;
  while (cut < text.size()) {
    const Utf8Character character = FirstCharacter(text.substr(cut));
    const std::size_t size = sizeOf(character);
    // sum <= limit: the difference does not wrap.
    if (size > limit - sum) {
      break;
    }
    sum += size;
    cut += character.length;
  }
  limit = sum;
  return text.substr(0, cut);
}

}  // namespace

Utf8Character FirstCharacter(std::string_view text) {
  const auto byte = [&text](std::size_t index) { return static_cast<unsigned char>(text[index]); };
  constexpr Utf8Character kInvalid{0xFFFD, 1, false};
  const unsigned char first = byte(0);
  if (first < 0x80) {
    return {first, 1};
  }
  // The length by the first byte (RFC 3629). 80 to BF only continue a sequence; F8 and above begin none.
  const std::size_t length = first < 0xC0 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : first < 0xF8 ? 4 : 0;
  if (length == 0 || text.size() < length) {
    return kInvalid;
  }
  // 5, 4 or 3 bits of the first byte, then 6 of each following one.
  char32_t codePoint = first & (0x7FU >> length);
  for (std::size_t index = 1; index < length; ++index) {
    if ((byte(index) & 0xC0) != 0x80) {
      return kInvalid;
    }
    codePoint = codePoint << 6 | (byte(index) & 0x3F);
  }
  // A code point below the smallest of its length is an overlong form, with which filters can be evaded.
  const char32_t smallest = length == 2 ? 0x80 : length == 3 ? 0x800 : 0x10000;
  const bool isSurrogate = codePoint >= 0xD800 && codePoint < 0xE000;
  return codePoint < smallest || codePoint > 0x10FFFF || isSurrogate ? kInvalid : Utf8Character{codePoint, length};
}

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const Utf8Character character = FirstCharacter(text);
    if (!character.isValid) {
      return false;
    }
    text.remove_prefix(character.length);
  }
  return true;
}

std::string ToUtf8(std::string_view text) {
  if (IsUtf8(text)) {
    return std::string(text);
  }
  std::string result;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte < 0x80) {
      result.push_back(character);
    } else {
      // A byte of Latin-1 is the code point: two bytes from 80 on.
      result.push_back(static_cast<char>(0xC0 | byte >> 6));
      result.push_back(static_cast<char>(0x80 | (byte & 0x3F)));
    }
  }
  return result;
}

std::string_view CutToBytes(std::string_view text, std::size_t size) {
  return CutBy(text, size, [](const Utf8Character& character) { return character.length; });
}

std::string_view CutToColumns(std::string_view text, std::size_t columns) {
  return CutBy(text, columns, [](const Utf8Character& character) { return Columns(character.codePoint); });
}

std::size_t CountColumns(std::string_view text) {
  // Without a limit CutBy returns the sum of all.
  std::size_t columns = std::numeric_limits<std::size_t>::max();
  CutBy(text, columns, [](const Utf8Character& character) { return Columns(character.codePoint); });
  return columns;
}

std::string Abbreviated(std::string_view text) {
  constexpr std::size_t kMost = 100;
  return text.size() <= kMost ? std::string(text) : std::string(CutToBytes(text, kMost)) + "...";
}
