#include "Host/CommandLine/FileFilter.h"

namespace {

/// The set of one byte. Patterns match bytes: "?" and sets match one byte of a UTF-8 character that has several.
std::bitset<256> OneByte(char byte) {
  std::bitset<256> bytes;
  bytes.set(static_cast<unsigned char>(byte));
  return bytes;
}

std::bitset<256> AllBut(char byte) { return ~OneByte(byte); }

}  // namespace

Glob::Glob(std::string_view pattern) {
  // As in rsync, a backslash escapes only in patterns with wildcards.
  const bool hasEscapes = pattern.find_first_of("*?[") != std::string_view::npos;
  for (std::size_t index = 0; index < pattern.size(); ++index) {
    const char byte = pattern[index];
    if (byte == '*') {
      const bool isDouble = index + 1 < pattern.size() && pattern[index + 1] == '*';
      Add(isDouble ? std::bitset<256>().set() : AllBut('/'), true);
      index += isDouble ? 1 : 0;
    } else if (byte == '?') {
      Add(AllBut('/'), false);
    } else if (byte == '\\' && hasEscapes && index + 1 < pattern.size()) {
      Add(OneByte(pattern[++index]), false);
    } else if (const std::size_t end = byte == '[' ? AddSet(pattern, index + 1) : 0; end != 0) {
      // The loop moves on by one.
      index = end - 1;
    } else {
      Add(OneByte(byte), false);
    }
  }
}

std::size_t Glob::AddSet(std::string_view pattern, std::size_t start) {
  std::size_t index = start;
  // "^" and "!" mean the same, as in fnmatch(3) of glibc.
  const bool isNegated = index < pattern.size() && (pattern[index] == '^' || pattern[index] == '!');
  index += isNegated ? 1 : 0;
  std::bitset<256> bytes;
  // A closing bracket that is the first in the set belongs to it, as POSIX says.
  for (const std::size_t first = index; index < pattern.size() && (pattern[index] != ']' || index == first); ++index) {
    index += pattern[index] == '\\' && index + 1 < pattern.size() ? 1 : 0;
    const auto from = static_cast<unsigned char>(pattern[index]);
    auto to = from;
    if (index + 2 < pattern.size() && pattern[index + 1] == '-' && pattern[index + 2] != ']') {
      index += 2;
      index += pattern[index] == '\\' && index + 1 < pattern.size() ? 1 : 0;
      to = static_cast<unsigned char>(pattern[index]);
    }
    for (unsigned int byte = from; byte <= to; ++byte) {
      bytes.set(byte);
    }
  }
  // A set that is not closed: the caller takes its bracket as it is.
  if (index >= pattern.size()) {
    return 0;
  }
  // No set matches a slash, so that folders stay apart.
  Add((isNegated ? ~bytes : bytes) & AllBut('/'), false);
  return index + 1;
}

// Runs the pattern as a nondeterministic automaton, all states at once: backtracking would take exponential time for
// some patterns.
bool Glob::Matches(std::string_view text) const {
  std::vector<bool> isAt(m_elements.size() + 1);
  // An element that may repeat may also be absent: its successor is reached without a byte.
  const auto skipRepeated = [this](std::vector<bool>& places) {
    for (std::size_t index = 0; index < m_elements.size(); ++index) {
      if (places[index] && m_elements[index].repeats) {
        places[index + 1] = true;
      }
    }
  };
  isAt[0] = true;
  skipRepeated(isAt);
  for (const char byte : text) {
    std::vector<bool> isNext(isAt.size());
    for (std::size_t index = 0; index < m_elements.size(); ++index) {
      if (isAt[index] && m_elements[index].bytes[static_cast<unsigned char>(byte)]) {
        isNext[m_elements[index].repeats ? index : index + 1] = true;
      }
    }
    skipRepeated(isNext);
    isAt = std::move(isNext);
  }
  return isAt.back();
}

void FileFilter::AddRule(std::string_view pattern, bool isExclusion) {
  // "A/***" is the two rules "A/" and "A/**".
  if (pattern.ends_with("/***")) {
    AddRule(pattern.substr(0, pattern.size() - 3), isExclusion);
    AddRule(pattern.substr(0, pattern.size() - 1), isExclusion);
    return;
  }
  const bool isAnchored = pattern.starts_with('/');
  const bool forFoldersOnly = pattern.size() > 1 && pattern.ends_with('/');
  pattern.remove_prefix(isAnchored ? 1 : 0);
  pattern.remove_suffix(forFoldersOnly ? 1 : 0);
  while (!isAnchored && pattern.starts_with("**/")) {
    pattern.remove_prefix(3);  // it may stand for nothing, and Excludes tries every tail of the path
  }
  m_rules.push_back({Glob(pattern), isAnchored, forFoldersOnly, isExclusion});
}

bool FileFilter::Excludes(std::string_view path, bool isFolder) const {
  for (const Rule& rule : m_rules) {
    if (rule.forFoldersOnly && !isFolder) {
      continue;
    }
    // Without an anchor a pattern may begin at any part of the path.
    for (std::string_view tail = path;;) {
      if (rule.glob.Matches(tail)) {
        return rule.isExclusion;
      }
      const std::size_t slash = tail.find('/');
      if (rule.isAnchored || slash == std::string_view::npos) {
        break;
      }
      tail.remove_prefix(slash + 1);
    }
  }
  return false;
}

bool FileFilter::ExcludesOnTheWay(std::string_view path) const {
  for (std::size_t slash = path.find('/'); slash != std::string_view::npos; slash = path.find('/', slash + 1)) {
    if (Excludes(path.substr(0, slash), true)) {
      return true;
    }
  }
  return Excludes(path, false);
}
