#include "Toolbox/KelUtils/Text/Trimming.h"

#include <algorithm>
#include <string_view>

namespace {

/// isspace of the C locale, whatever the current locale: tab, line feed, vertical tab, form feed, carriage return,
/// space.
bool IsWhiteSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// The text as the trimming functions get it: zero-terminated when `length` is 0, empty when `text` is null.
std::string_view GivenText(const char* text, unsigned long length) {
  if (text == nullptr) {
    return {};
  }
  return length == 0 ? std::string_view(text) : std::string_view(text, length);
}

}  // namespace

void KelTrimString(std::string& text) {
  if (!text.empty() && IsWhiteSpace(text.front())) {
    text.erase(0, 1);
  }
  if (!text.empty() && IsWhiteSpace(text.back())) {
    text.pop_back();
  }
}

std::string KelTrimFromHead(char c, char const* text, unsigned long length) {
  const std::string_view view = GivenText(text, length);
  return std::string(view.substr(std::min(view.find_first_not_of(c), view.size())));
}

std::string KelTrimFromTail(char c, char const* text, unsigned long length) {
  const std::string_view view = GivenText(text, length);
  // When there is no other character, the position is npos and npos + 1 is 0.
  return std::string(view.substr(0, view.find_last_not_of(c) + 1));
}
