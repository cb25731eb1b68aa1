#pragma once

/// Removing characters from the ends of texts.

#include "RHOAPI/RHOAPIExport.h"

#include <string>

/// Removes white space from `text` in place, at most one character at each end. White space is space, tab, line feed,
/// vertical tab, form feed and carriage return, whatever the locale.
///   "\tx\r" becomes "x", "  a  " becomes " a ", " " becomes ""
RHOAPI_EXPORT void KelTrimString(std::string& text);

/// The `length` bytes at `text` without the leading run of `c`. A length of 0 means that the text is zero-terminated.
/// Within a given length a zero byte is an ordinary byte. Null gives an empty text.
///   KelTrimFromHead('0', "0012", 0) == "12", KelTrimFromHead('0', "000", 0) == ""
RHOAPI_EXPORT std::string KelTrimFromHead(char c, char const* text, unsigned long length);

/// The same for the trailing run of `c`.
///   KelTrimFromTail('0', "1200", 0) == "12", KelTrimFromTail('0', "1200", 3) == "12"
RHOAPI_EXPORT std::string KelTrimFromTail(char c, char const* text, unsigned long length);
