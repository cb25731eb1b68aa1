#pragma once

/// Reports a caller's error the way the C library reports a failed `assert(false)`, in builds with and without NDEBUG:
/// a line on standard error with the program, `file`, `line`, `operation` and "false", and then the process is aborted.
///   ReportFailedAssertion(__FILE__, __LINE__, __func__);
[[noreturn]] void ReportFailedAssertion(const char* file, unsigned int line, const char* operation);
