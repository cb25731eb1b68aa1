#pragma once

/// "rhohost validate MODULE": whether a module does what hosts rely on.

#include <chrono>
#include <optional>
#include <string>
#include <vector>

struct ValidateOptions {
  std::string module;
  std::vector<std::string> only;     ///< patterns of check names; all checks when empty
  std::vector<std::string> skip;     ///< patterns of check names
  std::optional<std::string> junit;  ///< a file for the report in the JUnit form
  std::optional<std::string> html;   ///< a file for the report as a page
  bool valgrind = false;             ///< run the checks under valgrind
  unsigned int jobs = 1;             ///< checks that run at a time
  std::chrono::seconds timeout{30};  ///< time limit of each check
  bool isList = false;               ///< list the checks, run none
  bool json = false;
  bool quiet = false;  ///< show only checks that fail
  bool force = false;  ///< replace an existing report
};

/// Does what the options ask for. The program's exit code: 0 when a check passed and none failed, else 1. Throws
/// WrongUse, also when there is no such module, and Failure when it cannot do its work.
int Validate(const ValidateOptions& options);
