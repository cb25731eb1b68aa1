#pragma once

/// Splitting texts into tokens. There is no escape for the quote character, and quotes do not nest.

#include "RHOAPI/RHOAPIExport.h"

#include <list>
#include <string>

/// Appends the tokens of `text` to `out`, which is not cleared, and returns their number. A token ends at `separator`.
/// The text between two `quote` characters is a token of its own, separators included, and so is the text directly
/// before and behind it. A quote that is not closed ends with the text. Where separator and quote are the same
/// character, it separates.
///
/// Empty tokens are dropped unless `keepEmpty` is set. Then one is kept wherever two separators or quotes meet, and at
/// either end of a text that begins or ends with one; a separator between quotes does not count. An empty text has no
/// token in either case. Throws std::bad_alloc, which leaves the tokens found so far in `out`.
///   with ' ' and '"':  a b  c                -> a, b, c               and with keepEmpty  a, b, (empty), c
///                      say "hello world" now -> say, hello world, now
///                      a"b c"d               -> a, b c, d
RHOAPI_EXPORT int KelTokenize(std::list<std::string>& out, std::string const& text, char separator, char quote,
                              bool keepEmpty);

/// The tokens between spaces; double quotes enclose a token that contains spaces. Empty tokens are dropped.
///   KelSplitString("cp \"my clip\" /tmp") is cp, my clip, /tmp
RHOAPI_EXPORT std::list<std::string> KelSplitString(std::string const& text);
