#pragma once

#include <functional>

/// The system calls of the whole program, the module's among them, go through SystemCalls.cpp when that is linked. They
/// do what they always do unless a test asks for a fault.
enum class Call { kRead, kWrite, kOpen, kOpenAt, kSeek, kFork, kPipe, kOpenFolder, kReadFolder, kRemove, kClose };

/// While it lives, the n-th call of a kind (from 1, counted from here on) is a fault. One at a time.
class Fault {
 public:
  /// The call fails with this errno and does nothing.
  Fault(Call call, int nth, int error);
  /// A read or write handles one byte at most.
  static Fault ShortAt(Call call, int nth) { return Fault(call, nth, 0); }
  /// Something happens just before the call.
  Fault(Call call, int nth, std::function<void()> before);
  Fault(const Fault&) = delete;
  Fault& operator=(const Fault&) = delete;
  ~Fault();

  /// Whether there were as many calls; a loop over n ends when not.
  bool Occurred() const;
};
