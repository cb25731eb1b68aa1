#pragma once

/// Texts without what surrounds them.

#include "RHOAPI/RHOAPIExport.h"

#include <string>

/// Removes white space from `text` in place, at most one character at each end. White space is space, tab, line feed,
/// vertical tab, form feed and carriage return, whatever the locale.
///   "\tx\r" becomes "x", "  a  " becomes " a ", " " becomes ""
RHOAPI_EXPORT void KelTrimString(std::string& text);

/// The `length` bytes at `text` without the run of `c` that they begin with; with a length of 0, all of a
/// zero-terminated text. A zero byte inside a given length is a byte like any other. Null gives an empty text.
///   KelTrimFromHead('0', "0012", 0) == "12", KelTrimFromHead('0', "000", 0) == ""
RHOAPI_EXPORT std::string KelTrimFromHead(char c, char const* text, unsigned long length);

/// The same for the run of `c` that the bytes end with.
///   KelTrimFromTail('0', "1200", 0) == "12", KelTrimFromTail('0', "1200", 3) == "12"
RHOAPI_EXPORT std::string KelTrimFromTail(char c, char const* text, unsigned long length);
