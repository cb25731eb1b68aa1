#pragma once

#include <functional>
#include <string>

/// While it exists, the n-th call of a system function by the program or the module, counted from 1 from here on, is a
/// fault. Only one may exist at a time. SystemCalls.cpp lists the functions that can be named, several separated by
/// "|"; "*" stands for all of them.
///
/// For another program, preload the library built from the same source and set the variable FAULT to
/// "FUNCTION:NTH:ERROR", with a "+" at the end for a lasting fault. Instead of an error it may name a signal, as a
/// negative number, that is raised just before the call, or a shell command that is run just before it. The library
/// writes to descriptor 9 the function and the file of the fault and, when the program ends, the number of descriptors
/// that are still open. With FAULT=trace there is no fault, and it writes every call with its file.
class Fault {
 public:
  /// The call fails with this errno and has no effect (but a close closes); with 0, a read or write transfers half of
  /// the requested bytes, at least one. A lasting fault also affects all later calls of the same function.
  Fault(const char* function, int nth, int error, bool isLasting = false);
  /// Runs `before` just before the call, which does not fail.
  Fault(const char* function, int nth, std::function<void()> before);
  Fault(const Fault&) = delete;
  Fault& operator=(const Fault&) = delete;
  ~Fault();

  /// Whether the n-th call has happened.
  bool Occurred() const;
  /// The function of the fault; once it occurred, the one that was called.
  const char* Function() const;
};

/// While it exists, every folder also lists a file of this name, which may be longer than the file system allows, and
/// lists no types of entries.
class ListedFile {
 public:
  explicit ListedFile(std::string name);
  ListedFile(const ListedFile&) = delete;
  ListedFile& operator=(const ListedFile&) = delete;
  ~ListedFile();
};
