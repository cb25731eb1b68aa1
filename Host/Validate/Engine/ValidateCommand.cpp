#include "Host/Validate/Engine/ValidateCommand.h"

#include "Host/System/OutputFile.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Messages.h"
#include "Host/Validate/Engine/Report.h"
#include "Host/Validate/Engine/Selection.h"

#include <sys/stat.h>
#include <cerrno>

namespace {

void CheckModuleFile(const std::string& module) {
  struct stat status {};
  if (module.empty()) {
    throw WrongUse("MODULE is missing");
  }
  if (stat(module.c_str(), &status) != 0) {
    throw WrongUse(SystemFailure(module, "read the module", errno).what());
  }
  if (!S_ISREG(status.st_mode)) {
    throw WrongUse(module + ": not a file, and so no module");
  }
}

std::string ListText(const std::vector<const Check*>& checks) {
  std::string text;
  for (const Check* const check : checks) {
    text.append(check->name).append("\n    ").append(check->why).append("\n");
  }
  return text;
}

void WriteFile(const std::string& path, const std::string& text, bool replaceExisting) {
  OutputFile file(path, replaceExisting);
  file.Write(text.data(), text.size());
  file.Commit();
}

}  // namespace

int Validate(const ValidateOptions& options) {
  const std::vector<const Check*> checks = SelectChecks(options.only, options.skip);
  if (options.isList) {
    Print(ListText(checks));
    return 0;
  }
  CheckModuleFile(options.module);
  if (options.junit) {
    CheckOutputTarget(*options.junit, options.force);
  }
  const RunnerOptions runner{options.jobs, options.timeout};
  const auto outcomes = MakeChecks(checks, options.module, runner, [&options](const CheckOutcome& outcome) {
    if (!options.json && (!options.quiet || CountOutcomes({outcome}).failed != 0)) {
      Print(OutcomeText(outcome));
    }
  });
  const Counts counts = CountOutcomes(outcomes);
  if (options.json) {
    Print(JsonReport(options.module, outcomes));
  } else if (!options.quiet) {
    Print(SummaryText(options.module, counts));
  }
  if (options.junit) {
    WriteFile(*options.junit, JUnitReport(options.module, outcomes), options.force);
  }
  return counts.failed == 0 ? 0 : 1;
}
