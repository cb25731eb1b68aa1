#pragma once

#include <string>
#include <vector>

/// The names in a list such as `find` prints: one on each line (which may end with CR LF), or each ended by a zero byte
/// if `isNullSeparated`. Empty ones are left out. "-" is standard input. Throws Failure when it cannot be read, and
/// for what is no such list: a name longer than any path, zero bytes without isNullSeparated, an endless input.
std::vector<std::string> ReadFileList(const std::string& path, bool isNullSeparated);
