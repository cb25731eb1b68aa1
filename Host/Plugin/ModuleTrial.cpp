#include "Host/Plugin/ModuleTrial.h"

#include "Host/Plugin/Module.h"
#include "Host/Plugin/TrialMemory.h"
#include "Host/System/ChildProcess.h"
#include "Host/Text/Errors.h"

#include <unistd.h>
#include <optional>
#include <string_view>

namespace {

constexpr std::chrono::seconds kTimeLimit{10};
constexpr std::string_view kDone = "done";
constexpr std::string_view kRefused = "refused";

/// What the child was at, the last line of its result.
std::string LastLine(std::string text) {
  text.resize(text.empty() ? 0 : text.size() - 1);
  return text.substr(text.rfind('\n') + 1);
}

}  // namespace

void RefuseDangerousModule(const std::string& path) {
  if (path == Module::DefaultPath()) {
    return;
  }
  const TrialMemory memory(path);
  if (!memory.HasFile()) {
    return;
  }
  std::optional<std::string> verdict = memory.Recall();
  if (!verdict) {
    const ChildEnd end = RunChild({{kTrialArgument, path}, {}, kTimeLimit});
    const std::string last = LastLine(end.result);
    if (last == kRefused) {
      return;
    }
    verdict = last == kDone ? "" : DescribeEnd(end, kTimeLimit, last.empty() ? "" : " " + last);
    if (end.how == ChildEnd::kExited || end.how == ChildEnd::kCrashed) {
      memory.Keep(*verdict);
    }
  }
  if (!verdict->empty()) {
    throw Failure("cannot use the module: it " + *verdict);
  }
}

void TryModuleInChild(const std::string& path) {
  BecomeChild();
  std::string_view answer = kDone;
  try {
    WriteResult("on loading\n");
    std::optional<Module> module(path);
    WriteResult("on making a compressor\n");
    CompressorOwner compressor = module->CreateCompressor();
    WriteResult("on letting go of a compressor\n");
    compressor.reset();
    WriteResult("on unloading\n");
    module.reset();
  } catch (...) {
    // The parent will come to know why, when it loads the module itself.
    answer = kRefused;
  }
  WriteResult(std::string(answer) + '\n');
  _exit(0);
}
