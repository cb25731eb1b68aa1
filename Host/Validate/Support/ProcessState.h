#pragma once

/// What a library could change in a process without anyone having asked for it.

#include <map>
#include <string>

/// Each thing by its name: "umask" is "0022".
using ProcessState = std::map<std::string, std::string>;

ProcessState Threads();      ///< those that run now, by number
ProcessState Descriptors();  ///< the open ones, and what they lead to
ProcessState Signals();      ///< what happens on each signal, and which are blocked
/// Locale, environment, working folder, file mode mask, and how numbers are computed: rounding, and whether the
/// smallest ones count as zero, which code that was compiled to be fast at any price sets for the whole process.
ProcessState Surroundings();

/// Fails the check unless both are the same; says what changed `when`, as in "loading".
void ExpectUnchanged(const ProcessState& before, const ProcessState& after, const std::string& when);

/// Takes what is printed while it lives, by this program or past it, instead of standard output and standard error.
class PrintedText {
 public:
  PrintedText();
  PrintedText(const PrintedText&) = delete;
  PrintedText& operator=(const PrintedText&) = delete;
  ~PrintedText();

  /// What has been printed so far.
  std::string Text() const;

 private:
  int m_file;
  int m_output;
  int m_errors;
};
