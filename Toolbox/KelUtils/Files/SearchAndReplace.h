#pragma once

/// Replacing text in files, line by line. Replaces every occurrence of each key by its value. Keys are plain texts and
/// are applied in byte order, each to the result of those before it. Removes empty lines (but not a line that a
/// replacement has emptied), cuts each line at its first zero byte, and ends every line with a line feed. Carriage
/// returns are part of their lines. Memory use grows with the longest line.
///
///   the lines "k=1", "" and "k=2" with {"k", "K"} become "K=1" and "K=2"
///   the line "a" with {"a", "b"} and {"b", "c"} becomes "c"
///
/// Nothing throws. Null texts count as empty; an empty key occurs nowhere.

#include "RHOAPI/RHOAPIExport.h"

#include <map>
#include <string>

/// Writes a filtered copy of one file to another; true when all of it was written. Waits for the writer of a FIFO.
/// False, with nothing changed, when the input is a folder or cannot be opened, or when both paths lead to the same
/// file, under any names. Also false when reading or writing fails: the output is then removed if `outPath` is a file;
/// a file behind a link stays, partly written.
RHOAPI_EXPORT bool KelSearchAndReplace(const std::map<std::string, std::string>& replacements, const char* inPath,
                                       const char* outPath);

/// Rewrites a file: writes a new file PATH.tmp with the permissions of the old one, and its owner and group if allowed,
/// and renames it to `path`. Any other item at PATH.tmp, unless a folder, is removed first. When `path` is a link, the
/// new file replaces the link. False when `path` is not a file or on any failure: the file is then unchanged, and
/// PATH.tmp is removed.
RHOAPI_EXPORT bool KelSearchAndReplace(const std::map<std::string, std::string>& replacements, const char* path);

/// The same with one replacement.
RHOAPI_EXPORT bool KelSearchAndReplace(const char* path, const char* what, const char* with);
