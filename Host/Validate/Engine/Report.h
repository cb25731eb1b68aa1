#pragma once

/// The results of validating a module, for people and for programs. docs/validating.md describes the forms.

#include "Host/Validate/Engine/Runner.h"

#include <string>
#include <vector>

struct Counts {
  std::size_t passed = 0;
  std::size_t failed = 0;
  std::size_t skipped = 0;
};

Counts CountOutcomes(const std::vector<CheckOutcome>& outcomes);

/// One line for a check; below a failed one: expected, actual, why it matters and what the module printed.
std::string OutcomeText(const CheckOutcome& outcome);

/// The last line: "module.so: 30 passed, 1 failed, 1 skipped".
std::string SummaryText(const std::string& module, const Counts& counts);

/// Everything as JSON.
std::string JsonReport(const std::string& module, const std::vector<CheckOutcome>& outcomes);

/// Everything as the XML that continuous-integration services read test results from, the JUnit form: a suite for each
/// group. Valid whatever bytes the texts hold.
std::string JUnitReport(const std::string& module, const std::vector<CheckOutcome>& outcomes);

/// Everything as one HTML page for people, which needs nothing beside it.
std::string HtmlReport(const std::string& module, const std::vector<CheckOutcome>& outcomes);
