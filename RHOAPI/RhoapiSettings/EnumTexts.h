#pragma once

#include "RHOAPI/RHOAPIExport.h"

#include <deque>
#include <string>

/// A copy of `text` with the C library's tolower applied to every byte, as an unsigned number: in the C locale A to Z
/// become a to z and all other bytes stay.
RHOAPI_EXPORT std::string to_lower_case(const std::string& text);
/// The same; null counts as empty.
RHOAPI_EXPORT std::string to_lower_case(const char* text);

/// An entry of an enumeration. Not nested in TEnumTexts, or the module would export the compiler-generated functions.
struct EnumEntry {
  std::string text;  ///< what hosts show
  int number;        ///< what the owner of the setting reads
};

/// The entries of an enumeration, each a text with a number, and the ways to find one. A null text matches no entry.
/// Appending does not move the texts of other entries.
class RHOAPI_EXPORT TEnumTexts {
 public:
  TEnumTexts() = default;
  TEnumTexts(const TEnumTexts&) = default;
  /// The settings assign a copy of themselves, so that nothing changes when memory runs out.
  TEnumTexts& operator=(const TEnumTexts&) = delete;
  /// Swaps the entries: unlike moving them, that takes no memory.
  TEnumTexts& operator=(TEnumTexts&& other) noexcept {
    m_entries.swap(other.m_entries);
    return *this;
  }
  ~TEnumTexts() = default;

  /// The number of entries.
  unsigned int Size() const { return static_cast<unsigned int>(m_entries.size()); }
  /// The text at `index`; empty when `index` is out of range.
  const char* At(unsigned int index) const { return index < m_entries.size() ? m_entries[index].text.c_str() : ""; }
  /// The number at `index`; 0 when `index` is out of range.
  int NumberAt(unsigned int index) const { return index < m_entries.size() ? m_entries[index].number : 0; }
  /// `text` is not null. When out of memory nothing changes.
  void Append(const char* text, int number) { m_entries.push_back({text, number}); }
  /// Removes all entries.
  void Clear() { m_entries.clear(); }

  /// Index of the first entry that equals `text`, letter case included, or -1.
  int FindExactly(const char* text) const;
  /// Index of the first entry with that number, or -1.
  int FindNumber(int number) const;

  /// Index of the entry that a text selects: the first entry that equals `text`; otherwise the first that equals it
  /// without regard to letter case; otherwise the last that, without regard to letter case, is a prefix of `text` or
  /// begins with it; otherwise Size(). Allocates nothing; linear in the lengths of the texts.
  ///   among "Low", "Lower":  "lo" -> 1, "LOW" -> 0, "lowest" -> 0
  unsigned int FindLeniently(const char* text) const;

 private:
  std::deque<EnumEntry> m_entries;  // elements of a deque never move, and hosts hold pointers to the texts
};
