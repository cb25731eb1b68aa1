#pragma once

#include "Tests/Support/SlowVersions.h"
#include "Tests/Support/TemporaryFolder.h"

#include <FuzzedDataProvider.h>
#include <cstdio>

/// Each target defines it: takes choices (what to call, with which numbers and texts) from `data`, does as they say and
/// expects of the product what it promises.
void Fuzz(FuzzedDataProvider& data);

/// Stops the program unless `holds`, and says where.
inline void Expect(bool holds, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
  if (!holds) {
    std::fprintf(stderr, "%s:%d: an expectation failed\n", file, line);
    std::abort();
  }
}

extern "C" [[gnu::used]] inline int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  Fuzz(data);
  return 0;
}
