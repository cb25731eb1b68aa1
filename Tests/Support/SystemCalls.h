#pragma once

#include <functional>
#include <string>

/// While it lives, the n-th call (from 1, counted from here on) of a system function by the program or the module is a
/// fault. One at a time. SystemCalls.cpp lists the functions that can be named, several with "|" between them;
/// "*" stands for all of them.
///
/// A program of its own gets its fault by preloading the library that the same source makes, and from the variable
/// FAULT, "FUNCTION:NTH:ERROR", with a "+" behind it for a lasting one. In place of the error there may be a signal, as
/// a negative number, that the program gets just before the call, or a shell command that is run then. The library
/// writes to descriptor 9 which function and which file the fault has struck and, when the program ends, how many
/// descriptors are still open. With FAULT=trace it does no harm, and writes every call with its file.
class Fault {
 public:
  /// The call fails with this errno and does nothing (but a close closes); with 0, a read or write handles half of what
  /// it is asked for, or one byte. A lasting fault strikes all later calls of the same function as well.
  Fault(const char* function, int nth, int error, bool isLasting = false);
  /// Something happens just before the call.
  Fault(const char* function, int nth, std::function<void()> before);
  Fault(const Fault&) = delete;
  Fault& operator=(const Fault&) = delete;
  ~Fault();

  /// Whether there were as many calls.
  bool Occurred() const;
  /// The function that it is to strike or, once it occurred, has struck.
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
