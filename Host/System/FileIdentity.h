#pragma once

/// Whether different paths lead to one file.

#include <string>

/// Whether writing to `target` would write to the file that `input` is read from: the same file by name, by symbolic or
/// hard link, or by redirection ("-" stands for standard input and standard output). False when either does not exist,
/// and for character devices such as /dev/null. Throws Failure when the system does not tell.
bool IsSameFile(const std::string& input, const std::string& target);

/// Whether writing to either path creates or replaces one and the same file, which need not exist. Throws Failure when
/// the system does not tell.
bool IsSamePlace(const std::string& left, const std::string& right);
