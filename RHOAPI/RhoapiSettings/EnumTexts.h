#pragma once

#include "RHOAPI/RHOAPIExport.h"

#include <string>
#include <vector>

/// A copy of `text` with every byte passed through the C library's tolower: in the C locale A to Z become a to z and
/// all other bytes stay. Null counts as empty.
RHOAPI_EXPORT std::string to_lower_case(const std::string& text);
RHOAPI_EXPORT std::string to_lower_case(const char* text);

/// The entries of an enumeration and the ways to find one. A null text is found nowhere.
class RHOAPI_EXPORT TEnumTexts {
 public:
  unsigned int Size() const { return static_cast<unsigned int>(m_texts.size()); }
  /// The text at `index`; empty when there is none.
  const char* At(unsigned int index) const { return index < m_texts.size() ? m_texts[index].c_str() : ""; }
  /// `text` is not null.
  void Append(const char* text) { m_texts.emplace_back(text); }
  void Clear() { m_texts.clear(); }

  /// Index of the first entry that equals `text`, letter case included, or -1.
  int FindExactly(const char* text) const;

  /// The rule by which an enumeration takes a text. The best of: the first entry that equals `text`; the first that
  /// equals it but for letter case; the last that, letter case ignored, is a prefix of `text` or has it as prefix.
  /// Size() when none does. Allocates nothing; linear in the lengths of the texts.
  ///   among "Low", "Lower":  "lo" -> 1, "LOW" -> 0, "lowest" -> 0
  unsigned int FindLeniently(const char* text) const;

 private:
  std::vector<std::string> m_texts;
};
