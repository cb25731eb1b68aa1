#pragma once

/// One check in a process of its own, seen from both sides.

#include "Host/Validate/Engine/Check.h"

#include <chrono>
#include <string>

enum class Verdict { kPassed, kFailed, kSkipped };

struct CheckResult {
  Verdict verdict = Verdict::kFailed;
  std::string expected;  ///< of a failed one
  std::string came;      ///< of a failed one
  std::string reason;    ///< of a skipped one
  std::string printed;   ///< what the module printed meanwhile, the beginning of it
  double seconds = 0;
  bool isInterrupted = false;  ///< this process has been asked to end: it is no result
};

/// Makes the check in a child, which is given `timeLimit` for it (once for each environment that it is made in). Throws
/// Failure when no child can be started.
CheckResult MakeCheck(const Check& check, const std::string& module, std::chrono::milliseconds timeLimit);

/// The first argument of a program that is such a child; the check's name and the module follow.
constexpr const char* kCheckArgument = "--check-in-child";

/// The child's work: makes the check, hands the result to the parent and ends the process.
[[noreturn]] void MakeCheckInChild(const std::string& name, const std::string& module);
