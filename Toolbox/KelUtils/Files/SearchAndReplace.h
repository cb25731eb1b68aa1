#pragma once

/// Replacement of texts in text files, line by line. Replaces every occurrence of each key by its value. Keys are plain
/// texts; they are applied in the order of their bytes, each to the result of the ones before. Empty lines are removed
/// (a line that only a replacement empties stays), every written line ends in a line feed, and a line ends at its first
/// zero byte. Carriage returns belong to their lines. Memory grows with the longest line.
///
///   the lines "k=1", "" and "k=2" with {"k", "K"} become "K=1" and "K=2"
///   the line "a" with {"a", "b"} and {"b", "c"} becomes "c"
///
/// Nothing throws. Null texts count as empty; an empty key occurs nowhere.

#include "RHOAPI/RHOAPIExport.h"

#include <map>
#include <string>

/// Writes a filtered copy of one file to another; true when all of it was written. Waits for the writer of a FIFO.
/// False, with nothing changed, when the input is a folder or cannot be opened, or both paths lead to the same file, by
/// whatever names. Also false when reading or writing fails: the output is then removed if it is a file, and stays
/// partly written behind a link.
RHOAPI_EXPORT bool KelSearchAndReplace(const std::map<std::string, std::string>& replacements, const char* inPath,
                                       const char* outPath);

/// Rewrites a file: writes a new file PATH.tmp with the permissions of the old one, and its owner and group if allowed,
/// and renames it to `path`. Whatever was at PATH.tmp, unless a folder, is removed first. When `path` is a link, the
/// new file replaces the link. False when `path` is not a file or anything fails: the file is then unchanged, and the
/// written PATH.tmp removed.
RHOAPI_EXPORT bool KelSearchAndReplace(const std::map<std::string, std::string>& replacements, const char* path);

/// The same with one replacement.
RHOAPI_EXPORT bool KelSearchAndReplace(const char* path, const char* what, const char* with);
