#pragma once

#include "RHOAPI/RHOAPIExport.h"

#include <deque>
#include <string>

/// A copy of `text` with every byte passed through the C library's tolower: in the C locale A to Z become a to z and
/// all other bytes stay. Null counts as empty.
RHOAPI_EXPORT std::string to_lower_case(const std::string& text);
/// The same for a text that may be null.
RHOAPI_EXPORT std::string to_lower_case(const char* text);

/// An entry of an enumeration. Not nested in TEnumTexts, whose name would export what the compiler makes for it.
struct EnumEntry {
  std::string text;  ///< what hosts show
  int number;        ///< what the owner of the setting reads
};

/// The entries of an enumeration, each a text with a number, and the ways to find one. A null text is found nowhere.
/// Appending leaves the texts of all other entries where they are.
class RHOAPI_EXPORT TEnumTexts {
 public:
  TEnumTexts() = default;
  TEnumTexts(const TEnumTexts&) = default;
  /// When memory runs out nothing changes.
  TEnumTexts& operator=(const TEnumTexts& other) { return *this = TEnumTexts(other); }
  /// Swaps the entries: unlike moving them, that takes no memory.
  TEnumTexts& operator=(TEnumTexts&& other) noexcept {
    m_entries.swap(other.m_entries);
    return *this;
  }
  ~TEnumTexts() = default;

  /// The number of entries.
  unsigned int Size() const { return static_cast<unsigned int>(m_entries.size()); }
  /// The text at `index`; empty when there is none.
  const char* At(unsigned int index) const { return index < m_entries.size() ? m_entries[index].text.c_str() : ""; }
  /// The number at `index`; 0 when there is none.
  int NumberAt(unsigned int index) const { return index < m_entries.size() ? m_entries[index].number : 0; }
  /// `text` is not null. When memory runs out nothing changes.
  void Append(const char* text, int number) { m_entries.push_back({text, number}); }
  /// Removes all entries.
  void Clear() { m_entries.clear(); }

  /// Index of the first entry that equals `text`, letter case included, or -1.
  int FindExactly(const char* text) const;
  /// Index of the first entry with that number, or -1.
  int FindNumber(int number) const;

  /// The rule by which an enumeration takes a text. The best of: the first entry that equals `text`; the first that
  /// equals it but for letter case; the last that, letter case ignored, is a prefix of `text` or has it as prefix.
  /// Size() when none does. Allocates nothing; linear in the lengths of the texts.
  ///   among "Low", "Lower":  "lo" -> 1, "LOW" -> 0, "lowest" -> 0
  unsigned int FindLeniently(const char* text) const;

 private:
  std::deque<EnumEntry> m_entries;  // a deque, whose elements never move: hosts hold pointers to the texts
};
