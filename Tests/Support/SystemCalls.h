#pragma once

#include <functional>

/// While it lives, the n-th call (from 1, counted from here on) of a system function by the program or the module is a
/// fault. One at a time. SystemCalls.cpp lists the functions that can be named.
class Fault {
 public:
  /// The call fails with this errno and does nothing; with 0, a read or write handles one byte at most.
  Fault(const char* function, int nth, int error);
  /// Something happens just before the call.
  Fault(const char* function, int nth, std::function<void()> before);
  Fault(const Fault&) = delete;
  Fault& operator=(const Fault&) = delete;
  ~Fault();

  /// Whether there were as many calls.
  bool Occurred() const;
};
