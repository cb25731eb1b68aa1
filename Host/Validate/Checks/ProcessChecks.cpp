#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/CheckedModule.h"
#include "Host/Validate/Support/Phases.h"
#include "Host/Validate/Support/ProcessState.h"
#include "Host/Validate/Support/StreamRun.h"
#include "Host/Validate/Support/SystemCalls.h"
#include "Toolbox/KelUtils/Files/Internal/Descriptor.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

/// No phase writes to standard output or standard error.
void PrintsNothing(const std::string& path) {
  const PrintedText printed;
  ForEachPhase(path, [&printed](const char* phase) {
    const std::string text = printed.Text();
    ExpectThat(text.empty(), text, "nothing printed by {}", phase);
  });
}

/// Gives this process a standard input with something in it, and a standard output that is not its standard error.
void ReplaceStreams() {
  const Descriptor input(memfd_create("input", MFD_CLOEXEC));
  const Descriptor output(memfd_create("output", MFD_CLOEXEC));
  const std::string text(100, '\n');
  // Something to read: a module that reads standard input moves the position, which Descriptors() sees.
  static_cast<void>(!write(input.Get(), text.data(), text.size()));
  lseek(input.Get(), 0, SEEK_SET);
  dup2(input.Get(), STDIN_FILENO);
  dup2(output.Get(), STDOUT_FILENO);
}

/// No phase changes what `Read` returns: first in a process with default state, then in one where the host has changed
/// what it may change, which shows a module that sets things back to their defaults.
template <ProcessState (*Read)()>
void Leaves(const std::string& path) {
  ReplaceStreams();
  for (const bool isUnusual : {false, true}) {
    if (isUnusual) {
      MakeProcessUnusual();
    }
    ProcessState before = Read();
    ForEachPhase(path, [&before](const char* phase) {
      ProcessState after = Read();
      ExpectUnchanged(before, after, phase);
      // Each change is reported for the phase that made it, not for all that follow.
      before = std::move(after);
    });
  }
}

/// No phase makes a system call that changes files or the process.
void MakesNoSystemCalls(const std::string& path) {
  WatchSystemCalls();
  ForEachPhase(path, [](const char* phase) {
    std::fflush(nullptr);
    const std::string call = WatchedSystemCall();
    ExpectThat(call.empty(), call, "no system call by {} that changes files or the process", phase);
  });
}

/// Calls `end` in a forked copy of this process. Expects it to exit with that code and to print nothing.
template <class End>
void ExpectQuietEnd(const End& end, const std::string& how, int code) {
  const PrintedText printed;
  const pid_t child = fork();
  if (child == 0) {
    end();
    // `end` must not return.
    _exit(99);
  }
  int status = 0;
  waitpid(child, &status, 0);
  const std::string actual =
      WIFEXITED(status) ? fmt::format("exit code {}", WEXITSTATUS(status)) : fmt::format("signal {}", WTERMSIG(status));
  ExpectThat(WIFEXITED(status) && WEXITSTATUS(status) == code, actual, "exit code {} from {}", code, how);
  ExpectThat(printed.Text().empty(), printed.Text(), "nothing printed by {}", how);
}

/// The process exits in each way that hosts use, with the module loaded and after it was unloaded: handlers that a
/// module registers must neither crash nor print.
void LetsTheProcessEnd(const std::string& path) {
  const auto expectQuietEnds = [](const char* when) {
    ExpectQuietEnd([] { std::exit(42); }, fmt::format("exit after {}", when), 42);
    ExpectQuietEnd([] { std::quick_exit(43); }, fmt::format("quick_exit after {}", when), 43);
    ExpectQuietEnd([] { _exit(44); }, fmt::format("a fork after {}", when), 44);
  };
  {
    const CheckedModule module(path);
    const StreamSetup setup = DefaultSetup(module);
    const CompressorOwner compressor = setup.NewCompressor(module);
    Encode(*compressor, setup, SomeInput(setup), {1000});
    const CompressorOwner copy(compressor->CreateCopy());
    expectQuietEnds("a run, with the module loaded");
  }
  expectQuietEnds("unloading the module");
}

/// The whole life of the module on a thread that then ends. Destructors of thread-local objects run at its end.
void WorksOnOtherThreads(const std::string& path) {
  const PrintedText printed;
  std::string printedBefore;
  std::exception_ptr error;
  std::thread([&] {
    try {
      ForEachPhase(path, [](const char* /*phase*/) {});
      printedBefore = printed.Text();
    } catch (...) {
      // An exception that leaves the thread's function would end the process.
      error = std::current_exception();
    }
  }).join();
  if (error != nullptr) {
    std::rethrow_exception(error);
  }
  const std::string after = printed.Text().substr(printedBefore.size());
  ExpectThat(after.empty(), after, "nothing printed at the end of a thread that has used the module");
}

}  // namespace

std::span<const Check> ProcessChecks() {
  static constexpr auto kChecks = std::to_array<Check>({
      {"process.prints-nothing", "What a module prints ends up in output that programs read from the host.",
       PrintsNothing, kLoads},
      {"process.threads", "A thread that outlives unloading runs code that is gone; children are the host's to start.",
       Leaves<Threads>, kLoads},
      {"process.descriptors", "Descriptors left open run out; standard input and output are the host's.",
       Leaves<Descriptors>, kLoads},
      {"process.signals", "How signals are handled, and which timers send them, is the host's decision.",
       Leaves<Signals>, kLoads},
      {"process.surroundings",
       "Locale, environment, folder and number handling are the host's: a change alters what it computes and writes.",
       Leaves<Surroundings>, kLoads},
      {"process.privileges", "Limits, priorities and file modes apply to everything else that the host does.",
       Leaves<Privileges>, kLoads},
      {"process.system-calls", "Files, connections and processes that nobody asked for are faults, or worse.",
       MakesNoSystemCalls, kLoads},
      {"process.exit", "A host that exits, or forks, must not run into code of a module, loaded or not.",
       LetsTheProcessEnd, kHasSettings},
      {"process.other-threads", "Hosts load and encode on a thread that ends when the work is done.",
       WorksOnOtherThreads, kLoads},
  });
  return kChecks;
}
