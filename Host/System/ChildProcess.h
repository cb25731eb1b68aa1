#pragma once

/// This program, started again as a child: for work that may crash, hang or end the process, such as calling into a
/// module that nobody vouches for. The child leads a process group of its own, so that whatever it starts ends with it.
///
///   const ChildEnd end = RunChild({{"--try-module", path}, {}, limit});
///   if (end.result != "done\n") {
///     throw Failure("the module " + DescribeEnd(end, limit));
///   }

#include <chrono>
#include <csignal>
#include <string>
#include <string_view>
#include <vector>

struct ChildTask {
  std::vector<std::string> arguments;    ///< behind the program's name
  std::vector<std::string> environment;  ///< "NAME=VALUE", beside or in place of what this process has
  std::chrono::milliseconds timeLimit{};
};

/// How a child ended, and what came from it.
struct ChildEnd {
  enum How {
    kExited,       ///< `code` is its exit code
    kCrashed,      ///< `code` is the signal
    kTimedOut,     ///< killed at the time limit
    kInterrupted,  ///< killed because this process has been asked to end
  };

  How how = kExited;
  int code = 0;
  std::string result;   ///< what it gave to WriteResult
  std::string printed;  ///< the beginning of what it wrote to standard output and standard error
};

/// Runs the child and waits for it. It has no input, the default signal handling and leaves no core file. Afterwards
/// its process group is dead and no descriptor is left. Throws Failure when it cannot be started. May be called by
/// several threads at a time.
ChildEnd RunChild(const ChildTask& task);

/// What a child did to end as it has, in words that follow "it": "crashed on loading (SIGSEGV)", "hung on loading for
/// more than 10 s", "ended the process on loading (exit code 0)" with " on loading" for `where`.
std::string DescribeEnd(const ChildEnd& end, std::chrono::milliseconds timeLimit, const std::string& where = "");

/// In the child, first of all: it dies with its parent, and never leaves a core file.
void BecomeChild();

/// In the child: hands `bytes` to the parent, by a way that nothing printed can get into.
void WriteResult(std::string_view bytes);

/// While it lives, the signals that ask this process to end wait; every RunChild on any thread that was started
/// meanwhile, or is this one, kills its child when one arrives, and returns. They take effect when the object ends.
class EndingSignalsHeld {
 public:
  EndingSignalsHeld();
  EndingSignalsHeld(const EndingSignalsHeld&) = delete;
  EndingSignalsHeld& operator=(const EndingSignalsHeld&) = delete;
  ~EndingSignalsHeld();

  /// The signals that it holds: not those that this process ignores.
  const sigset_t& Signals() const { return m_signals; }

 private:
  sigset_t m_signals{};
  sigset_t m_previous{};
};
