#include "Host/CommandLine/EncodeMany.h"
#include "Host/CommandLine/EncodeOne.h"
#include "Host/CommandLine/Options.h"
#include "Host/CommandLine/SettingCommands.h"
#include "Host/Plugin/ModuleTrial.h"
#include "Host/System/TemporaryName.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Messages.h"
#include "Host/Validate/Engine/CheckProcess.h"
#include "Host/Validate/Engine/ValidateCommand.h"

#include <fcntl.h>
#include <unistd.h>
#include <cstdlib>
#include <exception>
#include <new>
#include <string_view>

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUse = 2;

/// Where a standard stream was closed by whoever started the program, puts one that fails in every use: else a file
/// that is opened later would take its number, and messages would end up in it.
void FillStandardStreams() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) == -1) {
      open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
  }
}

/// Does not return where this process is a child that the program has started itself.
void RunAsChild(int argc, const char* const* argv) {
  const std::string_view work = argc > 1 ? argv[1] : "";
  if (argc == 3 && work == kTrialArgument) {
    TryModuleInChild(argv[2]);
  }
  if (argc == 4 && work == kCheckArgument) {
    MakeCheckInChild(argv[2], argv[3]);
  }
}

int Run(int argc, const char* const* argv) {
  if (argc > 1 && std::string_view(argv[1]) == "validate") {
    return Validate(argc - 2, argv + 2);
  }
  if (const std::optional<Options> options = ReadOptions(argc, argv)) {
    RefuseDangerousModule(options->module);
    switch (options->action) {
      case Action::kEncode:
        EncodeOne(*options);
        break;
      case Action::kEncodeMany:
        return EncodeMany(*options) ? kDone : kFailed;
      case Action::kShowInfo:
        ShowInfo(*options);
        break;
      case Action::kMakePreset:
        MakePreset(*options);
        break;
    }
  }
  return kDone;
}

/// Memory may also run out where borrowed code lets no exception through, such as in a destructor.
[[noreturn]] void EndWhereNothingMayBeThrown() {
  try {
    if (std::current_exception()) {
      std::rethrow_exception(std::current_exception());
    }
  } catch (const std::bad_alloc&) {
    PrintMessage("out of memory");
    RemoveTemporaryFilesForGood();
    _exit(kFailed);
  } catch (...) {
    PrintMessage("ended by an unexpected exception");
  }
  RemoveTemporaryFilesForGood();
  std::abort();
}

}  // namespace

int main(int argc, char** argv) {
  RunAsChild(argc, argv);
  FillStandardStreams();
  RemoveTemporaryFilesOnSignals();
  std::set_terminate(EndWhereNothingMayBeThrown);
  try {
    return Run(argc, argv);
  } catch (const WrongUse& error) {
    PrintMessage(error.what());
    return kWrongUse;
  } catch (const std::bad_alloc&) {
    PrintMessage("out of memory");
  } catch (const std::exception& error) {
    PrintMessage(error.what());
  } catch (...) {
    PrintMessage("the module failed in a way of its own");
  }
  return kFailed;
}
