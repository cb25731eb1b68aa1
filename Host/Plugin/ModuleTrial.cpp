#include "Host/Plugin/ModuleTrial.h"

#include "Host/Plugin/Module.h"
#include "Host/System/ChildProcess.h"
#include "Host/Text/Errors.h"

#include <unistd.h>
#include <optional>
#include <string_view>

namespace {

constexpr std::chrono::seconds kTimeLimit{10};
constexpr std::string_view kDone = "done";

/// The child writes one line for each step that it begins, and kDone at the end.
std::string LastLine(std::string text) {
  text.resize(text.empty() ? 0 : text.size() - 1);
  return text.substr(text.rfind('\n') + 1);
}

}  // namespace

void RefuseDangerousModule(const std::string& path) {
  if (path == Module::DefaultPath()) {
    return;
  }
  const ChildEnd end = RunChild({{kTrialArgument, path}, {}, kTimeLimit});
  if (const std::string step = LastLine(end.result); step != kDone) {
    throw Failure("cannot use the module: it " + DescribeEnd(end, kTimeLimit, step.empty() ? "" : " " + step));
  }
}

void TryModuleInChild(const std::string& path) {
  BecomeChild();
  try {
    WriteResult("on loading\n");
    std::optional<Module> module(path);
    WriteResult("on creating a compressor\n");
    CompressorOwner compressor = module->CreateCompressor();
    WriteResult("on releasing a compressor\n");
    compressor.reset();
    WriteResult("on unloading\n");
    module.reset();
  } catch (...) {
    // The parent gets the same exception when it loads the module itself.
  }
  WriteResult(std::string(kDone) + '\n');
  _exit(0);
}
