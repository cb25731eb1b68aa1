#include "Host/System/ChildProcess.h"
#include "Host/System/ResultDescriptor.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>

namespace {

int g_result = -1;

/// Kills the children of this process, which has one thread: all of them, or as many as one reading lists.
void KillChildren() {
  std::array<char, 64> path{};
  std::snprintf(path.data(), path.size(), "/proc/self/task/%d/children", getpid());
  std::array<char, 4096> list{};
  const int file = open(path.data(), O_RDONLY | O_CLOEXEC);
  const ssize_t size = read(file, list.data(), list.size());
  close(file);
  const char* const end = list.data() + std::max<ssize_t>(size, 0);
  const char* next = list.data();
  for (;;) {
    pid_t child = 0;
    next = std::from_chars(next, end, child).ptr;
    if (next == end || child <= 0) {
      return;  // also where the list is cut within a number
    }
    kill(child, SIGKILL);
    ++next;
  }
}

/// Ends this process as the child with this status has ended.
[[noreturn]] void EndLike(int status) {
  if (WIFSIGNALED(status)) {
    std::signal(WTERMSIG(status), SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    raise(WTERMSIG(status));
  }
  _exit(WEXITSTATUS(status));
}

/// Waits for the end of the child or for SIGTERM, then ends the child and all its descendants. A process that has left
/// its parent becomes a child of this one, so the killing goes on until there are no more children.
[[noreturn]] void Supervise(pid_t child, const sigset_t& signals) {
  int status = 0;
  bool isEnded = false;
  while (!isEnded && sigwaitinfo(&signals, nullptr) != SIGTERM) {
    isEnded = waitpid(child, &status, WNOHANG) == child;
  }
  for (;;) {
    KillChildren();
    int anyStatus = 0;
    const pid_t any = waitpid(-1, &anyStatus, 0);
    if (any == -1 && errno == ECHILD) {
      EndLike(status);
    }
    status = any == child ? anyStatus : status;
  }
}

}  // namespace

void BecomeChild() {
  g_result = ResultDescriptor();
  fcntl(g_result, F_SETFD, FD_CLOEXEC);
  // A limit of one byte, not of none: that also keeps the kernel from starting a program that takes the core.
  const rlimit one{1, 1};
  setrlimit(RLIMIT_CORE, &one);

  sigset_t signals;
  sigset_t previous;
  sigemptyset(&signals);
  sigaddset(&signals, SIGCHLD);
  sigaddset(&signals, SIGTERM);
  sigprocmask(SIG_BLOCK, &signals, &previous);
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  const pid_t supervisor = getpid();
  const pid_t child = fork();
  if (child > 0) {
    Supervise(child, signals);
  }
  // Without a second process, a daemon that the work starts survives it; everything else is as it should be.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (child == 0) {
    if (getppid() != supervisor) {
      _exit(1);
    }
    setpgid(0, 0);
  }
  sigprocmask(SIG_SETMASK, &previous, nullptr);
}

void WriteResult(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(g_result, bytes.data(), bytes.size());
    if (count == -1 && errno != EINTR) {
      return;
    }
    bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  }
}
