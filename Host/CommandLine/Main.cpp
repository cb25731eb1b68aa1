#include "Host/CommandLine/CommandLine.h"
#include "Host/CommandLine/EncodeMany.h"
#include "Host/CommandLine/EncodeOne.h"
#include "Host/CommandLine/SettingCommands.h"
#include "Host/Library/ModuleDescription.h"
#include "Host/System/TemporaryName.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Messages.h"
#include "Host/Validate/Engine/CheckProcess.h"
#include "Host/Validate/Engine/ValidateCommand.h"

#include <fcntl.h>
#include <unistd.h>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <new>
#include <string_view>

namespace {

/// Exit codes, as the help lists them.
constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUse = 2;

/// Replaces each standard stream that the program was started without by one that fails in every use: otherwise a file
/// that is opened later takes its number, and messages end up in that file.
void FillStandardStreams() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) == -1) {
      // open returns the lowest free number, which is `descriptor`. The wrong direction makes every use fail with
      // EBADF.
      open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
  }
}

/// Does not return when this process is a child that the program has started itself.
void RunAsChild(int argc, const char* const* argv) {
  const std::string_view work = argc > 1 ? argv[1] : "";
  RunAsModuleHelper(argc, argv);
  if (argc == 5 && work == kCheckArgument) {
    RunCheckInChild(argv[2], argv[3], argv[4]);
  }
  if (argc == 5 && work == kValgrindArgument) {
    StartValgrindInChild(argv[2], argv[3], argv[4]);
  }
}

/// Does what the options ask for and returns the exit code. Throws WrongUse, Failure and what a module throws.
int Run(const Options& options) {
  if (options.action == Action::kValidate) {
    return Validate(options.validate);
  }
  if (options.action == Action::kListModules) {
    ShowModules(options);
    return kDone;
  }
  // Before the module is loaded into this process, where a crash would end it.
  RefuseDangerousModule(options.module);
  switch (options.action) {
    case Action::kEncodeMany:
      return EncodeMany(options) ? kDone : kFailed;
    case Action::kShowInfo:
      ShowInfo(options);
      break;
    case Action::kMakePreset:
      MakePreset(options);
      break;
    default:
      EncodeOne(options);
      break;
  }
  return kDone;
}

/// The terminate handler. Memory may run out where no exception may leave, such as in a destructor of a library.
[[noreturn]] void EndAfterUncaughtException() {
  try {
    if (std::current_exception()) {
      std::rethrow_exception(std::current_exception());
    }
  } catch (const std::bad_alloc&) {
    PrintMessage("out of memory");
    RemoveTemporaryFilesForGood();
    // _exit runs no destructors: the one that has failed is still running.
    _exit(kFailed);
  } catch (...) {
    PrintMessage("ended by an unexpected exception");
  }
  RemoveTemporaryFilesForGood();
  std::abort();
}

}  // namespace

int main(int argc, char** argv) {
  // First: a child must have one thread and its signals as they were inherited.
  RunAsChild(argc, argv);
  UseThisProgramAsModuleHelper();
  // Some parents ignore it, which programs inherit: then the system keeps no status of children that crash.
  std::signal(SIGCHLD, SIG_DFL);
  FillStandardStreams();
  RemoveTemporaryFilesOnSignals();
  // RemoveTemporaryFilesOnSignals covers signals, this handler uncaught exceptions.
  std::set_terminate(EndAfterUncaughtException);
  try {
    const std::optional<Options> options = ReadCommandLine(argc, argv);
    return options ? Run(*options) : kDone;
  } catch (const WrongUse& error) {
    PrintMessage(error.what());
    PrintMessage("\"rhohost help\" and \"rhohost help COMMAND\" list what can be used and how");
    return kWrongUse;
  } catch (const std::bad_alloc&) {
    PrintMessage("out of memory");
  } catch (const std::exception& error) {
    PrintMessage(error.what());
  } catch (...) {
    PrintMessage("the module threw an exception of unknown type");
  }
  return kFailed;
}
