#include "Host/Validate/Engine/ValidateCommand.h"

#include "Host/System/OutputFile.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Messages.h"
#include "Host/Text/Numbers.h"
#include "Host/Validate/Engine/Report.h"
#include "Host/Validate/Engine/Selection.h"
#include "Toolbox/KelUtils/Processes/SystemQueries.h"

#include <sys/stat.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <optional>

namespace {

constexpr unsigned int kMostJobs = 256;
constexpr unsigned int kMostSeconds = 24 * 3600;

struct ValidateOptions {
  std::string module;
  std::vector<std::string> only;
  std::vector<std::string> skip;
  std::optional<std::string> junit;
  std::optional<std::string> jobs;
  std::optional<std::string> timeout;
  bool isList = false;
  bool json = false;
  bool force = false;
};

void Declare(CLI::App& app, ValidateOptions& options) {
  const auto repeated = [&app](const char* name, std::vector<std::string>& texts, const char* help) {
    app.add_option(name, texts, help)->type_name("PATTERN")->allow_extra_args(false);
  };
  app.set_help_flag("-h,--help", "Show this help and end");
  app.add_option("MODULE", options.module, "The encoder module")->type_name("");
  repeated("--only", options.only, "Make only checks called like this, as in \"load.*\"; may be repeated");
  repeated("--skip", options.skip, "Leave out checks called like this; may be repeated");
  app.add_flag("--list", options.isList, "Show the checks, and make none");
  app.add_flag("--json", options.json, "Show the results as JSON");
  app.add_option("--junit", options.junit, "Write the results to this file in the JUnit form too")->type_name("FILE");
  app.add_flag("--force", options.force, "Replace an existing FILE");
  app.add_option("--jobs", options.jobs, "Make so many checks side by side (default: one a processor)")
      ->type_name("NUMBER");
  app.add_option("--timeout", options.timeout, "Time limit of each check in seconds (default: 30)")
      ->type_name("SECONDS");
}

unsigned int NumberUpTo(unsigned int most, const char* option, const std::string& text) {
  const auto number = ParseNumber<unsigned int>(text);
  if (!number || *number == 0 || *number > most) {
    throw WrongUse(std::string(option) + ": \"" + text + "\" is not a number from 1 to " + std::to_string(most));
  }
  return *number;
}

RunnerOptions ReadRunnerOptions(const ValidateOptions& options) {
  const auto processors = static_cast<unsigned int>(std::max(1, KelGetNumberProcessorsInSystem()));
  const unsigned int seconds = options.timeout ? NumberUpTo(kMostSeconds, "--timeout", *options.timeout) : 30;
  return {options.jobs ? NumberUpTo(kMostJobs, "--jobs", *options.jobs) : std::min(processors, kMostJobs),
          std::chrono::seconds(seconds)};
}

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

int Validate(const ValidateOptions& options, const std::vector<const Check*>& checks) {
  const RunnerOptions runner = ReadRunnerOptions(options);
  CheckModuleFile(options.module);
  if (options.junit) {
    CheckOutputTarget(*options.junit, options.force);
  }
  const auto outcomes = MakeChecks(checks, options.module, runner, [&options](const CheckOutcome& outcome) {
    if (!options.json) {
      Print(OutcomeText(outcome));
    }
  });
  const Counts counts = CountOutcomes(outcomes);
  Print(options.json ? JsonReport(options.module, outcomes) : SummaryText(options.module, counts));
  if (options.junit) {
    WriteFile(*options.junit, JUnitReport(options.module, outcomes), options.force);
  }
  return counts.failed == 0 ? 0 : 1;
}

}  // namespace

int Validate(int argc, const char* const* argv) {
  CLI::App app("Checks an encoder module, each check in a process of its own.", "rhohost validate");
  ValidateOptions options;
  Declare(app, options);
  try {
    std::vector<std::string> arguments(argv, argv + argc);
    std::reverse(arguments.begin(), arguments.end());
    app.parse(arguments);
  } catch (const CLI::CallForHelp&) {
    Print(app.help());
    return 0;
  } catch (const CLI::ParseError& error) {
    throw WrongUse(error.what());
  }
  const std::vector<const Check*> checks = SelectChecks(options.only, options.skip);
  if (options.isList) {
    Print(ListText(checks));
    return 0;
  }
  return Validate(options, checks);
}
