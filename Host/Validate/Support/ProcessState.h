#pragma once

/// State of the process that belongs to the host and that a library can change.

#include "Toolbox/KelUtils/Files/Internal/Descriptor.h"

#include <map>
#include <string>

/// Each thing by its name: "umask" is "0022".
using ProcessState = std::map<std::string, std::string>;

ProcessState Threads();      ///< the threads that run now, child processes, whether there have been any
ProcessState Descriptors();  ///< the open ones, what they lead to, flags, the position in standard input, stdio
ProcessState Signals();      ///< handlers, blocked and pending signals, timers
/// Locale, environment, folders, how numbers are computed (rounding, flush to zero, exceptions), handlers of the C++
/// runtime, standard streams, and the C library's hidden state (rand, strtok, getopt).
ProcessState Surroundings();
ProcessState Privileges();  ///< identity, file mode mask, limits, scheduling, attributes of the process

/// Changes what a host may change and a library might set back to the default: signal handling, timers, locale, time
/// zone, rounding, handlers of the C++ runtime, streams, limits. For a process that is about to end.
void MakeProcessUnusual();

/// Fails the check unless both are the same; says what changed `when`, as in "loading".
void ExpectUnchanged(const ProcessState& before, const ProcessState& after, const std::string& when);

/// While it lives, collects what is written to standard output and standard error, by whatever way.
class PrintedText {
 public:
  PrintedText();
  PrintedText(const PrintedText&) = delete;
  PrintedText& operator=(const PrintedText&) = delete;
  ~PrintedText();

  /// What has been printed so far.
  std::string Text() const;

 private:
  Descriptor m_file;
  Descriptor m_output;
  Descriptor m_errors;
};
