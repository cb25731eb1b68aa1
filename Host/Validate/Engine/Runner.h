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
  unsigned int jobs = 1;  ///< how many run at a time
  CheckSetup setup;
};

/// Runs the checks on the module and returns their results, in their order; `onOutcome` gets each as soon as those
/// before it are done. The prerequisites of the checks (Check::needs) run first; one that fails is among the results,
/// and what needs it is skipped. Throws Failure when a check cannot be started. A signal that asks this process to end
/// takes effect once the running checks are killed.
std::vector<CheckOutcome> RunChecks(std::vector<const Check*> checks, const std::string& module,
                                    const RunnerOptions& options,
                                    const std::function<void(const CheckOutcome&)>& onOutcome);
