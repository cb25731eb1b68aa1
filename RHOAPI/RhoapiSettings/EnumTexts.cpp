#include "RHOAPI/RhoapiSettings/EnumTexts.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <string_view>

namespace {

// The C library's tolower is defined for what an unsigned char holds.
char ToLower(char character) { return static_cast<char>(std::tolower(static_cast<unsigned char>(character))); }

bool EqualIgnoringCase(char left, char right) { return left == right || ToLower(left) == ToLower(right); }

}  // namespace

std::string to_lower_case(const std::string& text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), ToLower);
  return lower;
}

std::string to_lower_case(const char* text) { return to_lower_case(std::string(text == nullptr ? "" : text)); }

int TEnumTexts::FindExactly(const char* text) const {
  if (text == nullptr) {
    return -1;
  }
  const auto found = std::find(m_texts.begin(), m_texts.end(), std::string_view(text));
  return found == m_texts.end() ? -1 : static_cast<int>(found - m_texts.begin());
}

unsigned int TEnumTexts::FindLeniently(const char* text) const {
  const unsigned int none = Size();
  if (text == nullptr) {
    return none;
  }
  const std::string_view wanted(text);
  unsigned int ignoringCase = none;
  unsigned int prefix = none;
  for (unsigned int index = 0; index < none; ++index) {
    const std::string_view entry = m_texts[index];
    if (entry == wanted) {
      return index;
    }
    const std::size_t common = std::min(entry.size(), wanted.size());
    if (!std::equal(entry.begin(), entry.begin() + static_cast<std::ptrdiff_t>(common), wanted.begin(),
                    EqualIgnoringCase)) {
      continue;
    }
    if (entry.size() != wanted.size()) {
      prefix = index;
    } else if (ignoringCase == none) {
      ignoringCase = index;
    }
  }
  return ignoringCase != none ? ignoringCase : prefix;
}
