#pragma once

/// Searching, replacing and converting text. A text is a string of bytes: no encoding is assumed or checked, and zero
/// bytes inside a std::string are ordinary bytes. A text given as a pointer ends at its first zero byte, and null
/// counts as empty. Functions throw only std::bad_alloc, or std::length_error for a result longer than any std::string.

#include "RHOAPI/RHOAPIExport.h"

#include <string>

/// `text` with every occurrence of `what` replaced by `with`. Occurrences are found from the left and do not overlap;
/// inserted text is not searched. An empty `what` occurs nowhere. Linear in the length of the text and the result.
///   KelReplace("abab", "ab", "b") == "bb", KelReplace("aaa", "a", "aa") == "aaaaaa"
RHOAPI_EXPORT std::string KelReplace(std::string const& text, std::string const& what, std::string const& with);

/// A copy with the C library's tolower applied to every byte, as an unsigned number: in the C locale A to Z become a to
/// z and all other bytes stay. The range begin to end is empty when `begin` is null or not before `end`.
///   KelToLowerCase("Clip.MOV") == "clip.mov"
RHOAPI_EXPORT std::string KelToLowerCase(char const* begin, char const* end);
/// The same for a whole text.
RHOAPI_EXPORT std::string KelToLowerCase(std::string const& text);
/// The same for a text that may be null.
RHOAPI_EXPORT std::string KelToLowerCase(char const* text);

/// Whether `text` ends with `tail`; an empty tail ends every text. With `ignoreCase`, ASCII letters also match their
/// other case, whatever the locale.
///   KelStrMatchTail("Movie.MOV", ".mov", true) is true, with false it is false
template <class TChar>
bool KelStrMatchTail(TChar const* text, TChar const* tail, bool ignoreCase);
/// The form that the module exports.
template <>
RHOAPI_EXPORT bool KelStrMatchTail<char>(char const* text, char const* tail, bool ignoreCase);

/// The number at the beginning of `text`: skips white space, reads an optional sign and decimal digits, and ignores the
/// rest. 0 when there is no number; the nearest int when it does not fit.
///   KelConvertToScalar<int>(" -12abc") == -12, KelConvertToScalar<int>("abc") == 0
template <class TScalar>
TScalar KelConvertToScalar(char const* text);
/// The form that the module exports.
template <>
RHOAPI_EXPORT int KelConvertToScalar<int>(char const* text);
