#pragma once

#include <algorithm>
#include <string>

/// Calls `take(begin, end)` for each token of `text`, in order, until it returns false. KelTokenize says what a token
/// is; here `isSeparator(character)` tells what separates them.
template <class IsSeparator, class Take>
void ScanTokens(const std::string& text, IsSeparator isSeparator, char quote, bool keepEmpty, Take take) {
  const char* token = text.data();
  const char* const end = token + text.size();
  bool quoted = false;
  bool hasToken = false;
  const auto endsToken = [&](char c) { return c == quote || (!quoted && isSeparator(c)); };
  while (true) {
    const char* const tokenEnd = std::find_if(token, end, endsToken);
    // An empty text has no token, but "," has two empty ones.
    if (token != tokenEnd || (keepEmpty && (hasToken || tokenEnd != end))) {
      hasToken = true;
      if (!take(token, tokenEnd)) {
        return;
      }
    }
    if (tokenEnd == end) {
      return;
    }
    // A quote begins or ends a quoted part, unless it is also a separator.
    quoted = !quoted && !isSeparator(*tokenEnd);
    token = tokenEnd + 1;
  }
}
