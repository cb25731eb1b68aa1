#pragma once

/// One check in a process of its own, seen from both sides.

#include "Host/Validate/Engine/Check.h"

#include <chrono>
#include <string>

enum class Verdict { kPassed, kFailed, kSkipped };

/// "passed", "failed", "skipped".
const char* VerdictText(Verdict verdict);

struct CheckResult {
  Verdict verdict = Verdict::kFailed;
  std::string expected;  ///< of a failed one
  std::string actual;    ///< of a failed one
  std::string reason;    ///< of a skipped one
  std::string printed;   ///< the beginning of what the module printed meanwhile
  double seconds = 0;
  bool isInterrupted = false;  ///< this process has been asked to end: this is not a result
};

/// How a check runs.
struct CheckSetup {
  std::chrono::milliseconds timeLimit{};
  bool underValgrind = false;  ///< whose report of an error fails the check
};

/// Runs the check in a child, which has the time limit for it (once for each environment that it runs in). Throws
/// Failure when no child can be started.
CheckResult RunCheck(const Check& check, const std::string& module, const CheckSetup& setup);

/// The first argument of a program that is such a child; the check's name, the module and the path of its StepNote
/// follow.
constexpr const char* kCheckArgument = "--check-in-child";

/// The child's work: runs the check, hands the result to the parent and ends the process.
[[noreturn]] void RunCheckInChild(const std::string& name, const std::string& module, const std::string& stepNote);

/// The same arguments behind this one: the child becomes such a child under valgrind.
constexpr const char* kValgrindArgument = "--check-under-valgrind";
[[noreturn]] void StartValgrindInChild(const std::string& name, const std::string& module, const std::string& stepNote);
