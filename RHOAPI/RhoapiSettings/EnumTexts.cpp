#include "RHOAPI/RhoapiSettings/EnumTexts.h"

#include "Toolbox/KelUtils/Text/Internal/LowerByte.h"
#include "Toolbox/KelUtils/Text/Text.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace {

bool EqualIgnoringCase(char left, char right) {
  if (left == right) {
    return true;
  }
  const char lowerRight = LowerByte(right);
  return left == lowerRight || LowerByte(left) == lowerRight;
}

}  // namespace

std::string to_lower_case(const std::string& text) { return KelToLowerCase(text); }

std::string to_lower_case(const char* text) { return KelToLowerCase(text); }

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
