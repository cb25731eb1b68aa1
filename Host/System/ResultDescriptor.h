#pragma once

#include <sys/resource.h>
#include <algorithm>

/// Where a child of RunChild finds the pipe for its result, as computed on both sides: out of the way of code that
/// closes or writes to the first few descriptors, and below the limit on descriptors.
inline int ResultDescriptor() {
  constexpr rlim_t kUsual = 60;
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  return static_cast<int>(std::clamp<rlim_t>(limit.rlim_cur - 1, 3, kUsual));
}
