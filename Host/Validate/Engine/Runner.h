#pragma once

/// Many checks, several at a time.

#include "Host/Validate/Engine/CheckProcess.h"

#include <functional>
#include <vector>

struct CheckOutcome {
  const Check* check = nullptr;
  CheckResult result;
};

struct RunnerOptions {
  unsigned int jobs = 1;                  ///< how many are made side by side
  std::chrono::milliseconds timeLimit{};  ///< of each
};

/// Makes the checks on the module and returns what came, in their order; `onOutcome` is told each as soon as those
/// before it are done. Throws Failure when a check cannot be started. A signal that asks this process to end does so
/// once the running checks are killed.
std::vector<CheckOutcome> MakeChecks(const std::vector<const Check*>& checks, const std::string& module,
                                     const RunnerOptions& options,
                                     const std::function<void(const CheckOutcome&)>& onOutcome);
