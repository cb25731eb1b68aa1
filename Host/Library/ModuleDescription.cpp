#include "Host/Library/ModuleDescription.h"

#include "Host/Plugin/Module.h"
#include "Host/Plugin/ModuleSearch.h"
#include "Host/Settings/Info.h"
#include "Host/System/ChildProcess.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Utf8.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>
#include <utility>

using Json = nlohmann::ordered_json;

namespace {

/// The argument that makes the helper describe a module, followed by the file.
constexpr std::string_view kArgument = "--describe-module-in-child";

/// The child writes a line for each step that it begins. Its last line is one of these words with a JSON value behind.
constexpr std::string_view kDescribed = "described ";
constexpr std::string_view kRefused = "refused ";

/// Whether this program is its own helper: see UseThisProgramAsModuleHelper.
bool& IsOwnHelper() {
  static bool isOwn = false;
  return isOwn;
}

/// The path of the program to start as the child; empty for this one. Throws Failure if there is none.
std::string HelperProgram() {
  if (IsOwnHelper()) {
    return {};
  }
  const std::vector<std::string> programs = ModuleHelperPrograms();
  for (const std::string& program : programs) {
    if (access(program.c_str(), X_OK) == 0) {
      return program;
    }
  }
  throw Failure(fmt::format("cannot describe modules: there is no program {}; RHO_MODULE_HELPER can name it",
                            fmt::join(programs, " or ")));
}

/// The last line of a text that ends with a line break, without it.
std::string LastLine(std::string text) {
  text.resize(text.empty() ? 0 : text.size() - 1);
  return text.substr(text.rfind('\n') + 1);
}

/// What a child that came to its end has answered.
struct Answer {
  bool isRefused = false;
  Json value;  ///< the description, or the module's error
};

/// Has a child describe the module in `file`. Throws Failure with the step if the child crashes, hangs or exits before
/// it has answered.
Answer AskChild(const std::string& file, std::chrono::milliseconds timeLimit) {
  ChildTask task{{std::string(kArgument), file}, {}, timeLimit};
  task.program = HelperProgram();
  const ChildEnd end = RunChild(task);
  const std::string last = LastLine(end.result);
  for (const std::string_view kind : {kDescribed, kRefused}) {
    if (last.starts_with(kind)) {
      return {kind == kRefused, Json::parse(last.substr(kind.size()))};
    }
  }
  throw Failure(fmt::format("cannot use the module: it {}",
                            DescribeEnd(end, timeLimit, last.empty() ? "" : fmt::format(" on {}", last))));
}

/// The child's work. Each step is written before it begins, so that the parent knows where the module has failed.
std::string DescribeStepByStep(const std::string& file) {
  WriteResult("loading\n");
  std::optional<Module> module(file);
  WriteResult("creating a compressor\n");
  // Declared after the module, which it must not outlive if an exception ends the function.
  CompressorOwner compressor = module->CreateCompressor();
  WriteResult("describing its settings\n");
  std::string description = DescribeCompressor(*compressor, module->Version()).dump();
  WriteResult("releasing a compressor\n");
  compressor.reset();
  WriteResult("unloading\n");
  module.reset();
  return description;
}

/// Writes the answer and ends the process.
[[noreturn]] void DescribeInChild(const std::string& file) {
  BecomeChild();
  std::string answer;
  const auto refuse = [&answer](const char* why) {
    answer = fmt::format("{}{}\n", kRefused, Json(why).dump(-1, ' ', false, Json::error_handler_t::replace));
  };
  try {
    answer = fmt::format("{}{}\n", kDescribed, DescribeStepByStep(file));
  } catch (const std::exception& error) {
    refuse(error.what());
  } catch (...) {
    refuse("the module threw an exception of unknown type");
  }
  WriteResult(answer);
  // Not exit: the module's handlers and threads must not spoil an answer that is complete.
  _exit(0);
}

}  // namespace

Json DescribeModule(const std::string& name, std::chrono::milliseconds timeLimit) {
  Answer answer = AskChild(FindModule(name), timeLimit);
  if (answer.isRefused) {
    throw Failure(answer.value.get<std::string>());
  }
  return std::move(answer.value);
}

void RefuseDangerousModule(const std::string& name) {
  if (const std::string file = FindModule(name); !IsInstalledModule(file)) {
    // Refusals are ignored: the module loads without harm, and the caller gets the error when loading it.
    AskChild(file, kDescriptionTimeLimit);
  }
}

Json DescribeAllModules(std::chrono::milliseconds timeLimit) {
  Json modules = Json::array();
  for (const FoundModule& found : ListModules()) {
    Json module{{"name", ToUtf8(found.name)}, {"path", ToUtf8(found.path)}, {"hidden", found.isHidden}};
    try {
      module["description"] = DescribeModule(found.path, timeLimit);
    } catch (const Failure& failure) {
      module["error"] = ToUtf8(failure.what());
    }
    modules.push_back(std::move(module));
  }
  return modules;
}

std::string ModuleListText(const Json& modules) {
  std::string text;
  for (const Json& module : modules) {
    const auto textOf = [](const Json& value) { return value.get<std::string>(); };
    text += textOf(module["name"]);
    if (module.contains("description")) {
      const Json& description = module["description"];
      std::string manufacturer = textOf(description["manufacturer"]);
      manufacturer.erase(manufacturer.find_last_not_of(' ') + 1);
      text += fmt::format("  {} ({} {}), version {:#010x}", textOf(description["name"]), manufacturer,
                          textOf(description["codec"]), description["version"].get<unsigned int>());
    }
    text += fmt::format("{}\n    {}\n", module["hidden"].get<bool>() ? "  [hidden by an earlier one]" : "",
                        textOf(module["path"]));
    text += module.contains("error") ? fmt::format("    {}\n", textOf(module["error"])) : std::string();
  }
  return text;
}

std::vector<std::string> ModuleHelperPrograms() {
  if (const char* const named = secure_getenv("RHO_MODULE_HELPER"); named != nullptr && *named != '\0') {
    return {named};
  }
  constexpr const char* kName = "rho-module-helper";
  // Beside this library first: a build tree has the helper there.
  return {OwnFolder() / kName, InstalledFolder(RHO_LIBEXECDIR "/rho") / kName};
}

void UseThisProgramAsModuleHelper() { IsOwnHelper() = true; }

void RunAsModuleHelper(int argc, const char* const* argv) {
  if (argc == 3 && argv[1] == kArgument) {
    DescribeInChild(argv[2]);
  }
}
