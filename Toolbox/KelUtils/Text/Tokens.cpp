#include "Toolbox/KelUtils/Text/Tokens.h"

#include <algorithm>

int KelTokenize(std::list<std::string>& out, std::string const& text, char separator, char quote, bool keepEmpty) {
  const char* token = text.data();
  const char* const end = token + text.size();
  unsigned int count = 0;
  const auto append = [&](const char* tokenEnd, bool evenEmpty) {
    if (token != tokenEnd || evenEmpty) {
      out.emplace_back(token, tokenEnd);
      ++count;
    }
  };

  bool quoted = false;
  const auto ends = [&](char c) { return c == quote || (c == separator && !quoted); };
  for (const char* at = std::find_if(token, end, ends); at != end; at = std::find_if(token, end, ends)) {
    append(at, keepEmpty);
    token = at + 1;
    quoted = !quoted && *at != separator;
  }
  append(end, keepEmpty && count != 0);
  return static_cast<int>(count);
}

std::list<std::string> KelSplitString(std::string const& text) {
  std::list<std::string> tokens;
  KelTokenize(tokens, text, ' ', '"', false);
  return tokens;
}
