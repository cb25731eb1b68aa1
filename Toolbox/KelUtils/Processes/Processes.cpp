#include "Toolbox/KelUtils/Processes/Processes.h"

#include "Toolbox/KelUtils/Files/Internal/Descriptor.h"
#include "Toolbox/KelUtils/Platform/Internal/Interrupted.h"

#include <fcntl.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <utility>
#include <vector>

namespace {

/// The byte that a child writes to the status pipe. It writes none if the program is executed, which closes the pipe.
enum LaunchStatus : char { kExecuted = 0, kNotExecuted = 1, kNoSecondProcess = 2 };

/// A pipe that closes on exec; without descriptors when the system cannot create one.
struct Pipe {
  Pipe() {
    int ends[2] = {-1, -1};
    kel_safe_pipe(ends, 0);
    reading = Descriptor(ends[0]);
    writing = Descriptor(ends[1]);
  }
  Descriptor reading;
  Descriptor writing;
};

// All data that a launch needs after the fork, prepared before it.
struct Launch {
  std::vector<char*> arguments;
  const char* workingFolder;  // null for the caller's
  Pipe status;
  Pipe processId;
};

// The functions that run in child processes call only async-signal-safe functions: other threads may hold any lock,
// including the heap's, at the moment of the fork. The end of the process closes all other descriptors.

/// Sets the action of a signal in this process: SIG_IGN or SIG_DFL.
void SetAction(int signal, void (*action)(int)) {
  struct sigaction description {};
  description.sa_handler = action;
  sigaction(signal, &description, nullptr);
}

/// Tells the caller that the launch has failed. SIGPIPE would end the process if the caller has gone.
void Report(Launch& launch, LaunchStatus status) {
  SetAction(SIGPIPE, SIG_IGN);
  kel_safe_write(launch.status.writing.Get(), &status, sizeof status);
  launch.status.writing.Close();
}

/// Enters the working folder and executes the program; reports what fails.
[[noreturn]] void BecomeProgram(Launch& launch) {
  launch.processId.writing.Close();
  if (launch.workingFolder != nullptr && chdir(launch.workingFolder) != 0) {
    const int error = errno;
    Report(launch, kNotExecuted);
    _exit(error);
  }
  execvp(launch.arguments.front(), launch.arguments.data());
  Report(launch, kNotExecuted);
  _exit(1);
}

// The process between the caller and the program. It ends at once, so that nobody has to wait for the program.
[[noreturn]] void BecomeIntermediary(Launch& launch) {
  SetAction(SIGPIPE, SIG_IGN);
  // A session of its own: signals from the caller's terminal do not reach the program.
  setsid();
  launch.status.reading.Close();
  launch.processId.reading.Close();
  const pid_t program = fork();
  if (program == 0) {
    BecomeProgram(launch);
  }
  if (program == -1) {
    Report(launch, kNoSecondProcess);
  } else {
    launch.status.writing.Close();
  }
  kel_safe_write(launch.processId.writing.Get(), &program, sizeof program);
  // Releases the caller's folder; a failure does not matter, since the process ends here.
  [[maybe_unused]] const int ignored = chdir("/");
  _exit(1);
}

/// The caller's part: reads both pipes and waits for the intermediary. Whether the program has been executed.
bool ReceiveProgram(Launch& launch, pid_t intermediary) {
  // With these ends open, the caller's own reads would never find the end of the pipes.
  launch.status.writing.Close();
  launch.processId.writing.Close();
  char status = kExecuted;
  // 0 bytes, the end of the pipe, leave kExecuted: exec has closed the last writing end.
  const bool isAnswered = kel_safe_read(launch.status.reading.Get(), &status, sizeof status) >= 0;
  // Leaves no zombie in the caller.
  kel_safe_waitpid(intermediary, nullptr, 0);
  pid_t program = 0;
  return isAnswered && status == kExecuted &&
         kel_safe_read(launch.processId.reading.Get(), &program, sizeof program) == long{sizeof program} &&
         program != 0;
}

/// KelLaunchApplication without `wait`.
bool LaunchDetached(const std::string& application, const std::list<std::string>& arguments,
                    const std::string& workingFolder) {
  // exec takes pointers to non-const characters for historical reasons, but does not write to them.
  std::vector<char*> texts{const_cast<char*>(application.c_str())};
  for (const std::string& argument : arguments) {
    texts.push_back(const_cast<char*>(argument.c_str()));
  }
  texts.push_back(nullptr);
  Launch launch{std::move(texts), workingFolder.empty() ? nullptr : workingFolder.c_str(), {}, {}};
  const pid_t intermediary = fork();
  if (intermediary == 0) {
    BecomeIntermediary(launch);
  }
  return intermediary != -1 && ReceiveProgram(launch, intermediary);
}

/// False in a process that ignores SIGCHLD: the system discards the statuses of its children.
bool GetsStatusOfChildren() {
  struct sigaction action {};
  sigaction(SIGCHLD, nullptr, &action);
  const auto flags = static_cast<unsigned int>(action.sa_flags);
  return action.sa_handler != SIG_IGN && (flags & static_cast<unsigned int>(SA_NOCLDWAIT)) == 0;
}

// Runs the shell, waits for it and reports its status.
[[noreturn]] void BecomeWaiter(const char* command, const Pipe& result) {
  SetAction(SIGCHLD, SIG_DFL);
  const pid_t shell = fork();
  if (shell == 0) {
    execl("/bin/sh", "sh", "-c", command, nullptr);
    _exit(127);
  }
  int status = -1;
  // Without a shell (fork returned -1) there is no child to wait for, and the status stays -1.
  kel_safe_waitpid(shell, &status, 0);
  kel_safe_write(result.writing.Get(), &status, sizeof status);
  _exit(0);
}

// Like system(), which returns no status to a process that ignores SIGCHLD: a process between the caller and the shell,
// which does not ignore it, waits instead. Unlike with system(), SIGINT and SIGQUIT also reach the caller meanwhile.
int RunThroughWaiter(const char* command) {
  Pipe result;
  const pid_t waiter = fork();
  if (waiter == 0) {
    BecomeWaiter(command, result);
  }
  result.writing.Close();
  int status = -1;
  const bool isReceived = kel_safe_read(result.reading.Get(), &status, sizeof status) == long{sizeof status};
  if (waiter != -1) {
    kel_safe_waitpid(waiter, nullptr, 0);
  }
  return isReceived ? status : -1;
}

/// KelLaunchApplication with `wait`: builds the documented command line, which escapes nothing.
bool LaunchAndWait(const std::string& application, const std::list<std::string>& arguments,
                   const std::string& workingFolder) {
  const std::string folder = workingFolder.empty() ? "." : workingFolder;
  std::string command = "/bin/sh -c '(cd \"" + folder + "\"; \"" + application + "\"";
  for (const std::string& argument : arguments) {
    command.append(" \"").append(argument).append("\"");
  }
  command += ")'";
  return (GetsStatusOfChildren() ? std::system(command.c_str()) : RunThroughWaiter(command.c_str())) == 0;
}

}  // namespace

bool KelLaunchApplication(const std::string& application, const std::list<std::string>& arguments,
                          const std::string& workingFolder, bool wait, bool /*unused*/) {
  return wait ? LaunchAndWait(application, arguments, workingFolder)
              : LaunchDetached(application, arguments, workingFolder);
}

int KelCreateProcessUtf8(CKelStr<char> command) {
  if (command.m_data == nullptr) {
    command.assign("");
  }
  return std::system(command.m_data);
}

int kel_safe_pipe(int* descriptors, int flags) {
  // The value of O_NONBLOCK on some systems other than Linux; hosts may pass either.
  constexpr int kDocumentedNonBlocking = 4;
  const bool isNonBlocking = (flags & (kDocumentedNonBlocking | O_NONBLOCK)) != 0;
  // Flags set in a second step would come too late for a program that another thread starts in between.
  return pipe2(descriptors, isNonBlocking ? O_CLOEXEC | O_NONBLOCK : O_CLOEXEC);
}

long kel_safe_write(int descriptor, const void* buffer, unsigned long size) {
  return RetryInterrupted([=] { return write(descriptor, buffer, size); });
}

long kel_safe_read(int descriptor, void* buffer, unsigned long size) {
  return RetryInterrupted([=] { return read(descriptor, buffer, size); });
}

int kel_safe_close(int descriptor) {
  return RetryInterrupted([=] { return close(descriptor); });
}

int kel_safe_waitpid(int process, int* status, int options) {
  return RetryInterrupted([=] { return waitpid(process, status, options); });
}
