#pragma once

/// Replacement of texts in text files, line by line. Every occurrence of each key is replaced by its value: keys are
/// plain texts, taken in the order of their bytes, each on the result of the ones before it. Empty lines disappear (a
/// line that only a replacement empties stays, as an empty one), every line that is written ends in a line feed, and a
/// line counts up to its first zero byte. Carriage returns belong to their lines. Memory is needed for the longest
/// line.
///
///   the lines "k=1", "" and "k=2" with {"k", "K"} become "K=1" and "K=2"
///   the line "a" with {"a", "b"} and {"b", "c"} becomes "c"
///
/// Nothing throws. Null texts count as empty; an empty key occurs nowhere.

#include "RHOAPI/RHOAPIExport.h"

#include <map>
#include <string>

/// Writes a filtered copy of one file to another; true when all of it was written. False, with nothing touched, when
/// both paths lead to one file, by whatever names, or the input cannot be opened. False too when reading or writing
/// fails: the output is removed then, if it is a file, and left partly written behind a link.
RHOAPI_EXPORT bool KelSearchAndReplace(const std::map<std::string, std::string>& replacements, const char* inPath,
                                       const char* outPath);

/// Rewrites a file in place: writes the file PATH.tmp, over one that is there, and gives it the name `path`. The file
/// is a new one then, with the default permissions, and where `path` was a link the file takes the link's place. False
/// when that fails: the file is as it was, and a PATH.tmp that was written is removed. WARNING: where PATH.tmp is a
/// link already, what it leads to is overwritten and `path` becomes that link: not for folders in which others may
/// write.
RHOAPI_EXPORT bool KelSearchAndReplace(const std::map<std::string, std::string>& replacements, const char* path);

/// The same with one replacement.
RHOAPI_EXPORT bool KelSearchAndReplace(const char* path, const char* what, const char* with);
