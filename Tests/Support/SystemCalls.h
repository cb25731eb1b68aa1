#pragma once

#include <functional>

/// The system calls of the whole program, the module's among them, go through SystemCalls.cpp when that is linked. They
/// do what they always do unless a test asks for a fault.
enum class Call {
  kOpen,
  kOpenAt,
  kRead,
  kWrite,
  kSeek,
  kClose,
  kRemove,
  kFork,
  kPipe,
  kOpenFolder,
  kReadFolder,
  kStreamRead,
  kStreamWrite,
  kStreamSeek
};

/// While it lives, the n-th call of a kind (from 1, counted from here on) is a fault. One at a time.
class Fault {
 public:
  /// The call fails with this errno and does nothing; with 0, a read or write handles one byte at most.
  Fault(Call call, int nth, int error);
  /// Something happens just before the call.
  Fault(Call call, int nth, std::function<void()> before);
  Fault(const Fault&) = delete;
  Fault& operator=(const Fault&) = delete;
  ~Fault();

  /// Whether there were as many calls; a loop over n ends when not.
  bool Occurred() const;
};
