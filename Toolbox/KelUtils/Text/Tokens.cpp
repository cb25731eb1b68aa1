#include "Toolbox/KelUtils/Text/Tokens.h"

#include "Toolbox/KelUtils/Text/Internal/TokenScanner.h"

int KelTokenize(std::list<std::string>& out, std::string const& text, char separator, char quote, bool keepEmpty) {
  unsigned int count = 0;
  ScanTokens(
      text, [separator](char c) { return c == separator; }, quote, keepEmpty,
      [&](const char* begin, const char* end) {
        out.emplace_back(begin, end);
        ++count;
        return true;
      });
  return static_cast<int>(count);
}

std::list<std::string> KelSplitString(std::string const& text) {
  std::list<std::string> tokens;
  KelTokenize(tokens, text, ' ', '"', false);
  return tokens;
}
