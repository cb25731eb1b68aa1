#pragma once

/// This program, started again as a child: for work that may crash, hang or end the process, such as calling into an
/// unknown module. The work runs in a process below the child, which ends everything that the work has started, daemons
/// in sessions of their own included: when the work ends, when the parent asks for it, and when the parent dies.
///
///   const ChildEnd end = RunChild({{"--try-module", path}, {}, limit});
///   if (end.result != "done\n") {
///     throw Failure("the module " + DescribeEnd(end, limit));
///   }

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

struct ChildTask {
  std::vector<std::string> arguments;     ///< behind the program's name
  std::vector<std::string> environment;   ///< "NAME=VALUE", beside or in place of what this process has
  std::chrono::milliseconds timeLimit{};  ///< without the time that the work waits for a processor
  std::string program{};                  ///< path of the program to start; empty: this one
};

/// How a child ended, and its output.
struct ChildEnd {
  enum How {
    kExited,       ///< `code` is its exit code, or kLostCode
    kCrashed,      ///< `code` is the signal
    kTimedOut,     ///< killed at the time limit
    kInterrupted,  ///< killed because this process was asked to end
  };

  /// The code where the system has no status of the child: the process ignores SIGCHLD, or something else has waited for
  /// the child.
  static constexpr int kLostCode = -1;

  How how = kExited;
  int code = 0;
  std::string result;   ///< the bytes given to WriteResult
  std::string printed;  ///< the beginning of what it wrote to standard output and standard error
};

/// Runs the child and waits for it. It has no input, default signal handling and leaves no core file. Afterwards no
/// process that it has started is left, and no descriptor. Throws Failure when it cannot be started. Several threads
/// may call it at a time.
ChildEnd RunChild(const ChildTask& task);

/// Describes how a child ended, in words that follow "it"; `where` is inserted: "crashed on loading (SIGSEGV)", "hung
/// on loading for more than 10 s", "ended the process on loading (exit code 0)" with " on loading".
std::string DescribeEnd(const ChildEnd& end, std::chrono::milliseconds timeLimit, const std::string& where = "");

/// In the child, before anything else and before there is a second thread: continues in the process that does the work.
/// It dies with the parent and leaves no core file.
void BecomeChild();

/// In the child: hands `bytes` to the parent, apart from everything that is printed.
void WriteResult(std::string_view bytes);
