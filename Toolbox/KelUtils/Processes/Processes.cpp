#include "Toolbox/KelUtils/Processes/Processes.h"

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

// What the status pipe carries; nothing when the program is executed.
enum LaunchStatus : char { kExecuted = 0, kNotExecuted = 1, kNoSecondProcess = 2 };

struct Pipe {
  Pipe() { kel_safe_pipe(ends, 0); }
  int ends[2] = {-1, -1};
  int Reading() const { return ends[0]; }
  int Writing() const { return ends[1]; }
};

// Everything that a launch needs after the fork, made before it.
struct Launch {
  std::vector<char*> arguments;
  const char* workingFolder;  // null for the caller's
  Pipe status;
  Pipe processId;
};

// The functions that run in the children call nothing but what is async-signal-safe: other threads may have held any
// lock, that of the heap included, at the moment of the fork.

void IgnoreBrokenPipes() {
  struct sigaction action {};
  action.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &action, nullptr);
}

void Report(const Launch& launch, LaunchStatus status) {
  IgnoreBrokenPipes();
  kel_safe_write(launch.status.Writing(), &status, sizeof status);
  kel_safe_close(launch.status.Writing());
}

[[noreturn]] void BecomeProgram(const Launch& launch) {
  kel_safe_close(launch.processId.Writing());
  if (launch.workingFolder != nullptr && chdir(launch.workingFolder) != 0) {
    const int error = errno;
    Report(launch, kNotExecuted);
    _exit(error);
  }
  execvp(launch.arguments.front(), launch.arguments.data());
  Report(launch, kNotExecuted);
  _exit(1);
}

// The process between the caller and the program: its end leaves the program without a parent that had to wait for it.
[[noreturn]] void BecomeIntermediary(const Launch& launch) {
  IgnoreBrokenPipes();
  setsid();
  kel_safe_close(launch.status.Reading());
  kel_safe_close(launch.processId.Reading());
  const pid_t program = fork();
  if (program == 0) {
    BecomeProgram(launch);
  }
  if (program == -1) {
    Report(launch, kNoSecondProcess);
  } else {
    kel_safe_close(launch.status.Writing());
  }
  kel_safe_write(launch.processId.Writing(), &program, sizeof program);
  // Does not keep the caller's folder in use; it ends here, whether this succeeds or not.
  [[maybe_unused]] const int ignored = chdir("/");
  _exit(1);
}

bool ReceiveProgram(const Launch& launch, pid_t intermediary) {
  kel_safe_close(launch.status.Writing());
  kel_safe_close(launch.processId.Writing());
  char status = kExecuted;
  const bool isAnswered = kel_safe_read(launch.status.Reading(), &status, sizeof status) >= 0;
  kel_safe_close(launch.status.Reading());
  kel_safe_waitpid(intermediary, nullptr, 0);
  pid_t program = 0;
  if (isAnswered && status == kExecuted &&
      kel_safe_read(launch.processId.Reading(), &program, sizeof program) != long{sizeof program}) {
    program = 0;
  }
  kel_safe_close(launch.processId.Reading());
  return program != 0;
}

bool LaunchDetached(const std::string& application, const std::list<std::string>& arguments,
                    const std::string& workingFolder) {
  std::vector<char*> texts{const_cast<char*>(application.c_str())};
  for (const std::string& argument : arguments) {
    texts.push_back(const_cast<char*>(argument.c_str()));
  }
  texts.push_back(nullptr);
  // From here on nothing throws: the pipes would stay open.
  const Launch launch{std::move(texts), workingFolder.empty() ? nullptr : workingFolder.c_str(), {}, {}};
  const pid_t intermediary = fork();
  if (intermediary == 0) {
    BecomeIntermediary(launch);
  }
  if (intermediary == -1) {
    for (const Pipe* pipe : {&launch.status, &launch.processId}) {
      kel_safe_close(pipe->Reading());
      kel_safe_close(pipe->Writing());
    }
    return false;
  }
  return ReceiveProgram(launch, intermediary);
}

bool LaunchAndWait(const std::string& application, const std::list<std::string>& arguments,
                   const std::string& workingFolder) {
  const std::string folder = workingFolder.empty() ? "." : workingFolder;
  std::string command = "/bin/sh -c '(cd \"" + folder + "\"; \"" + application + "\"";
  for (const std::string& argument : arguments) {
    command.append(" \"").append(argument).append("\"");
  }
  command += ")'";
  return std::system(command.c_str()) == 0;
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
  constexpr int kDocumentedNonBlocking = 4;
  const bool isNonBlocking = (flags & (kDocumentedNonBlocking | O_NONBLOCK)) != 0;
  // Marked as they are made: between two steps another thread could start a program that would keep the pipe open.
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
