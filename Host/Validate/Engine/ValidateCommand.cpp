#include "Host/Validate/Engine/ValidateCommand.h"

#include "Host/Plugin/ModuleSearch.h"
#include "Host/System/OutputFile.h"
#include "Host/System/OutputTarget.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Messages.h"
#include "Host/Validate/Engine/Report.h"
#include "Host/Validate/Engine/Seed.h"
#include "Host/Validate/Engine/Selection.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string_view>

namespace {

/// Throws WrongUse unless `module` is a regular file. Anything else, such as a named pipe, could block the loader.
void CheckModuleFile(const std::string& module) {
  struct stat status {};
  if (module.empty()) {
    throw WrongUse("MODULE is missing");
  }
  if (stat(module.c_str(), &status) != 0) {
    throw WrongUse(SystemFailure(module, "read the module", errno).what());
  }
  if (!S_ISREG(status.st_mode)) {
    throw WrongUse(module + ": is not a file: name the module's library, or its folder NAME.bundle");
  }
}

/// The text of --list: each name, and below it, indented, why the check matters.
std::string ListText(const std::vector<const Check*>& checks) {
  std::string text;
  for (const Check* const check : checks) {
    text.append(check->name).append("\n    ").append(check->why).append("\n");
  }
  return text;
}

/// Refuses a report file that cannot be written, or that would replace the module.
void CheckReportFile(const std::string& path, const ValidateOptions& options) {
  struct stat report {};
  struct stat module {};
  // By device and inode, which links and other spellings of the path have in common.
  if (stat(path.c_str(), &report) == 0 && stat(options.module.c_str(), &module) == 0 &&
      report.st_dev == module.st_dev && report.st_ino == module.st_ino) {
    throw WrongUse(path + ": is the module itself: name another file for the report");
  }
  CheckOutputTarget(path, options.force);
}

/// Whether PATH leads to valgrind, as the shell finds it.
bool HasValgrind() {
  const char* const path = std::getenv("PATH");
  std::string_view rest = path == nullptr ? "" : path;
  while (!rest.empty()) {
    // An empty element stands for the working folder (POSIX).
    const std::string_view folder = rest.substr(0, rest.find(':'));
    if (access(fmt::format("{}/valgrind", folder.empty() ? "." : folder).c_str(), X_OK) == 0) {
      return true;
    }
    // The last element has no colon behind it.
    rest.remove_prefix(std::min(folder.size() + 1, rest.size()));
  }
  return false;
}

/// Writes a file that appears under `path` only when it is complete. Throws Failure.
void WriteFile(const std::string& path, const std::string& text, bool replaceExisting) {
  OutputFile file(path, replaceExisting);
  file.Write(text.data(), text.size());
  file.Commit();
}

/// The library of the module: as a path if there is such a file or bundle, else as FindModule looks it up.
std::string ModuleToCheck(const std::string& name) {
  std::error_code error;
  if (name.empty() || name.find('/') != std::string::npos || std::filesystem::exists(name, error)) {
    return ModuleFile(name);
  }
  try {
    return FindModule(name);
  } catch (const Failure&) {
    return name;  // CheckModuleFile says that there is no such file
  }
}

}  // namespace

int Validate(const ValidateOptions& given) {
  ValidateOptions options = given;
  options.module = ModuleToCheck(given.module);
  const std::vector<const Check*> checks = SelectChecks(options.only, options.skip);
  if (options.isList) {
    Print(ListText(checks));
    return 0;
  }
  Seed();  // a seed that is not a number is refused before any check runs
  CheckModuleFile(options.module);
  for (const auto& report : {options.junit, options.html}) {
    if (report) {
      CheckReportFile(*report, options);
    }
  }
  if (options.junit && options.junit == options.html) {
    throw WrongUse(*options.junit + ": both reports cannot be written to one file");
  }
  if (options.valgrind && !HasValgrind()) {
    throw WrongUse("--valgrind: there is no program valgrind in PATH: install the package valgrind, or leave it out");
  }
  // All that can be refused has been by now: the checks may take minutes.
  const RunnerOptions runner{options.jobs, {options.timeout, options.valgrind}};
  const auto outcomes = RunChecks(checks, options.module, runner, [&options](const CheckOutcome& outcome) {
    if (!options.json && (!options.quiet || CountOutcomes({outcome}).failed != 0)) {
      Print(OutcomeText(outcome));
    }
  });
  const Counts counts = CountOutcomes(outcomes);
  // First, since standard output may be a pipe whose reader has gone.
  if (options.junit) {
    WriteFile(*options.junit, JUnitReport(options.module, outcomes), options.force);
  }
  if (options.html) {
    WriteFile(*options.html, HtmlReport(options.module, outcomes), options.force);
  }
  if (options.json) {
    Print(JsonReport(options.module, outcomes));
  } else if (!options.quiet) {
    Print(SummaryText(options.module, counts));
  }
  // A run in which every check was skipped shows nothing, and must not pass in a script.
  return counts.failed == 0 && counts.passed != 0 ? 0 : 1;
}
