#pragma once

/// Rules that include or exclude files and folders, as rsync's options --include and --exclude.

#include <bitset>
#include <string_view>
#include <vector>

/// A pattern of file names. "*" and "?" stand for bytes other than "/", "**" for any, "[a-z]" and "[^a-z]" for one of
/// a set; "\" takes the next character as it is, in a pattern with any of these.
class Glob {
 public:
  explicit Glob(std::string_view pattern);

  /// Whether the whole text matches, in time proportional to both lengths.
  bool Matches(std::string_view text) const;

 private:
  struct Element {
    std::bitset<256> bytes;
    bool repeats = false;  ///< any number of them, also none
  };

  /// Adds one element to the pattern.
  void Add(const std::bitset<256>& bytes, bool repeats) { m_elements.push_back({bytes, repeats}); }
  /// Adds the set that begins at `start`, behind its bracket: where the pattern goes on, or 0 when it has no end.
  std::size_t AddSet(std::string_view pattern, std::size_t start);

  std::vector<Element> m_elements;
};

/// An ordered list of rules: the first that matches a path decides, and a path that none matches is included. What
/// lies below an excluded folder is never looked at.
///
/// - "NAME" is compared with the last part of a path, "A/B" and what contains "**" with as many last parts as it takes.
/// - "/A" is compared with the whole path, from where the transfer begins.
/// - "A/" is compared with folders only.
/// - "A/***" is "A/" together with all that lies below it.
class FileFilter {
 public:
  void Include(std::string_view pattern) { AddRule(pattern, false); }
  void Exclude(std::string_view pattern) { AddRule(pattern, true); }
  bool IsEmpty() const { return m_rules.empty(); }

  /// Whether the file or folder at `path` is excluded, where its folders are not. `path` is relative, as it will be
  /// below the output folder.
  bool Excludes(std::string_view path, bool isFolder) const;

  /// Whether the file at `path` or a folder on the way to it is excluded.
  bool ExcludesOnTheWay(std::string_view path) const;

 private:
  struct Rule {
    Glob glob;
    bool isAnchored = false;
    bool forFoldersOnly = false;
    bool isExclusion = false;
  };

  /// Adds a rule behind the others.
  void AddRule(std::string_view pattern, bool isExclusion);

  std::vector<Rule> m_rules;
};
