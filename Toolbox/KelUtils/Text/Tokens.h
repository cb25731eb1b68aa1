#pragma once

/// Splitting text into tokens. The quote character cannot be escaped, and quotes do not nest.

#include "RHOAPI/RHOAPIExport.h"

#include <list>
#include <string>

/// Appends the tokens of `text` to `out`, which is not cleared, and returns their number. A token ends at `separator`.
/// The text between two `quote` characters is a token of its own, including separators, and so is the text directly
/// before and behind it. An open quote ends with the text. When separator and quote are the same character, it is a
/// separator.
///
/// Empty tokens are dropped unless `keepEmpty` is set. With `keepEmpty` there is an empty token between two adjacent
/// separators or quotes, and at either end of a text that begins or ends with one; a separator between quotes does not
/// count. An empty text never has a token. Throws std::bad_alloc; the tokens found so far are then in `out`.
///   with ' ' and '"':  a b  c                -> a, b, c               and with keepEmpty  a, b, (empty), c
///                      say "hello world" now -> say, hello world, now
///                      a"b c"d               -> a, b c, d
RHOAPI_EXPORT int KelTokenize(std::list<std::string>& out, std::string const& text, char separator, char quote,
                              bool keepEmpty);

/// The tokens between spaces; double quotes enclose a token that contains spaces. Empty tokens are dropped.
///   KelSplitString("cp \"my clip\" /tmp") is cp, my clip, /tmp
RHOAPI_EXPORT std::list<std::string> KelSplitString(std::string const& text);
