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

/// The pipe for WriteResult; -1 before BecomeChild.
int g_result = -1;

/// Kills the children of this process, which has one thread: all of them, or as many as one reading lists.
void KillChildren() {
  std::array<char, 64> path{};
  // The id of the only thread is that of the process.
  std::snprintf(path.data(), path.size(), "/proc/self/task/%d/children", getpid());
  std::array<char, 4096> list{};
  const int file = open(path.data(), O_RDONLY | O_CLOEXEC);
  const ssize_t size = read(file, list.data(), list.size());
  close(file);
  // A failure of open or read gives -1 and leaves the list empty.
  const char* const end = list.data() + std::max<ssize_t>(size, 0);
  const char* next = list.data();
  for (;;) {
    pid_t child = 0;
    next = std::from_chars(next, end, child).ptr;
    if (next == end || child <= 0) {
      return;  // at the end of the list, or where the buffer cuts it within a number
    }
    kill(child, SIGKILL);
    ++next;
  }
}

/// Ends this process as the child with this status has ended.
[[noreturn]] void EndLike(int status) {
  if (WIFSIGNALED(status)) {
    // Raises the same signal, so that the parent's waitpid returns the status of the work.
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
    // Each round kills the children listed now and reaps all that are dead, at least one: reading the list for each of
    // thousands takes longer than the parent waits. Orphans of a reaped process become children of this one (subreaper)
    // and are in the next list; ECHILD says that none is left.
    KillChildren();
    int anyStatus = 0;
    pid_t any = waitpid(-1, &anyStatus, 0);
    if (any == -1 && errno == ECHILD) {
      EndLike(status);
    }
    for (; any > 0; any = waitpid(-1, &anyStatus, WNOHANG)) {
      // After SIGTERM the status of the work is known only here.
      status = any == child ? anyStatus : status;
    }
  }
}

}  // namespace

void BecomeChild() {
  g_result = ResultDescriptor();
  // Programs that the work starts must not hold the pipe open.
  fcntl(g_result, F_SETFD, FD_CLOEXEC);
  // One byte rather than none: where core_pattern pipes to a program, the kernel ignores 0 and takes 1 for no dump.
  const rlimit one{1, 1};
  setrlimit(RLIMIT_CORE, &one);

  // Blocked before fork, so that none is lost before Supervise waits for it.
  sigset_t signals;
  sigset_t previous;
  sigemptyset(&signals);
  sigaddset(&signals, SIGCHLD);
  sigaddset(&signals, SIGTERM);
  sigprocmask(SIG_BLOCK, &signals, &previous);
  // The death of the parent ends the work, as its SIGTERM does; orphaned descendants become children of this process.
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  const pid_t supervisor = getpid();
  const pid_t child = fork();
  if (child > 0) {
    Supervise(child, signals);
  }
  // fork clears the signal, so it is set again. Where fork has failed, this process does the work: a daemon that the
  // work starts then survives it; the rest is the same.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (child == 0) {
    // The supervisor may have died before prctl: then no signal is sent.
    if (getppid() != supervisor) {
      _exit(1);
    }
    // A signal that the work sends to its own process group must not hit the supervisor.
    setpgid(0, 0);
  }
  sigprocmask(SIG_SETMASK, &previous, nullptr);
}

void WriteResult(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(g_result, bytes.data(), bytes.size());
    // The parent has gone: nobody is left to be told.
    if (count == -1 && errno != EINTR) {
      return;
    }
    bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  }
}
