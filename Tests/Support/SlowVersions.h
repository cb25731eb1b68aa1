#pragma once

#include "Toolbox/KelUtils/Text/Text.h"

#include <iterator>
#include <list>
#include <map>
#include <sstream>
#include <string>

/// Reference implementations of some functions: slow, and obviously as documented.

inline std::string ReplacedSlowly(const std::string& text, const std::string& what, const std::string& with) {
  const std::size_t at = what.empty() ? std::string::npos : text.find(what);
  return at > text.size() ? text
                          : text.substr(0, at) + with + ReplacedSlowly(text.substr(at + what.size()), what, with);
}

/// Appends byte by byte to the last token.
inline std::list<std::string> TokenizedSlowly(const std::string& text, char separator, char quote, bool keepEmpty) {
  std::list<std::string> tokens{""};
  bool quoted = false;
  for (const char c : text) {
    if ((quoted || c != separator) && c != quote) {
      tokens.back() += c;
    } else {
      tokens.emplace_back();
      quoted = !quoted && c != separator;
    }
  }
  if (!keepEmpty || tokens.size() == 1) {
    tokens.remove("");
  }
  return tokens;
}

/// KelSimplifyPath of an absolute path, character by character; "fails" when it cannot be simplified.
inline std::string SimplifiedSlowly(const std::string& path) {
  std::list<std::string> components;
  for (std::size_t at = 1; at < path.size(); ++at) {
    components.emplace_back(1, path[at]);
    while (++at < path.size() && path[at] != '/') {
      components.back() += path[at];
    }
  }
  for (auto at = components.begin(); at != components.end();) {
    if (*at == ".." && at == components.begin()) {
      return "fails";
    }
    const auto first = *at == ".." ? std::prev(at) : at;
    at = *at == "." || *at == ".." ? components.erase(first, std::next(at)) : std::next(at);
  }
  std::string output = components.empty() ? "/" : "";
  for (const std::string& component : components) {
    output += "/" + component;
  }
  return output;
}

/// KelSearchAndReplace of a file's content.
inline std::string FilteredSlowly(const std::string& content, const std::map<std::string, std::string>& replacements) {
  std::string filtered;
  std::istringstream lines(content);
  for (std::string line; std::getline(lines, line);) {
    line = line.substr(0, line.find('\0'));
    const bool isEmpty = line.empty();
    for (const auto& [what, with] : replacements) {
      line = KelReplace(line, what, with);
    }
    filtered += isEmpty ? "" : line + '\n';
  }
  return filtered;
}
