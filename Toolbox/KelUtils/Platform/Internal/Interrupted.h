#pragma once

#include <cerrno>

/// The result of `call`, which is repeated while it answers -1 because a signal interrupted it. Not exported.
template <class Call>
auto RetryInterrupted(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) {
    result = call();
  }
  return result;
}
