#include "RHOAPI/RhoapiSettings/EnumTexts.h"

#include "Toolbox/KelUtils/Text/Internal/LowerByte.h"
#include "Toolbox/KelUtils/Text/Text.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace {

/// Whether two bytes are equal without regard to letter case. Compares before it converts, since most bytes are equal
/// or in lower case already and tolower is a call into the C library.
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
  const auto found =
      std::find_if(m_entries.begin(), m_entries.end(),
                   [wanted = std::string_view(text)](const EnumEntry& entry) { return entry.text == wanted; });
  return found == m_entries.end() ? -1 : static_cast<int>(found - m_entries.begin());
}

int TEnumTexts::FindNumber(int number) const {
  const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                  [number](const EnumEntry& entry) { return entry.number == number; });
  return found == m_entries.end() ? -1 : static_cast<int>(found - m_entries.begin());
}

unsigned int TEnumTexts::FindLeniently(const char* text) const {
  const unsigned int none = Size();
  if (text == nullptr) {
    return none;
  }
  const std::string_view wanted(text);
  unsigned int ignoringCase = none;
  unsigned int prefix = none;
  unsigned int index = 0;
  for (const EnumEntry& entry : m_entries) {
    if (entry.text == wanted) {
      return index;
    }
    // If the common part is equal, the texts are equal or the shorter one is a prefix of the longer one. An empty text
    // is a prefix of every text.
    const std::size_t common = std::min(entry.text.size(), wanted.size());
    if (std::equal(wanted.begin(), wanted.begin() + static_cast<std::ptrdiff_t>(common), entry.text.begin(),
                   EqualIgnoringCase)) {
      if (entry.text.size() != wanted.size()) {
        // Later entries replace earlier ones: the last one counts.
        prefix = index;
      } else if (ignoringCase == none) {
        ignoringCase = index;
      }
    }
    ++index;
  }
  return ignoringCase != none ? ignoringCase : prefix;
}
