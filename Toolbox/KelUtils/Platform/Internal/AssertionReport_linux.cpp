#include "Toolbox/KelUtils/Platform/Internal/AssertionReport.h"

// The C library declares its report only when assertions are on.
#undef NDEBUG
#include <cassert>

void ReportFailedAssertion(const char* file, unsigned int line, const char* operation) {
  __assert_fail("false", file, line, operation);
}
