#pragma once

/// Reports a caller's error as the C library reports a failed `assert(false)`, with and without NDEBUG: writes a line
/// with the program, `file`, `line`, `operation` and "false" to standard error, and aborts the process.
///   ReportFailedAssertion(__FILE__, __LINE__, __func__);
[[noreturn]] void ReportFailedAssertion(const char* file, unsigned int line, const char* operation);
