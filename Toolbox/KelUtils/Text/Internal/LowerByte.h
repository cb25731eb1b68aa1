#pragma once

#include <cctype>

/// `byte` through the C library's tolower, as an unsigned number since tolower is undefined for negative ones. In the C
/// locale A to Z become a to z and every other byte stays.
inline char LowerByte(char byte) { return static_cast<char>(std::tolower(static_cast<unsigned char>(byte))); }
