#pragma once

#include <cerrno>

/// Returns the result of `call`, which is repeated while it returns -1 because a signal interrupted it.
template <class Call>
auto RetryInterrupted(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) {
    result = call();
  }
  return result;
}
