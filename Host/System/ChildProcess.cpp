#include "Host/System/ChildProcess.h"

#include "Host/System/EndingSignals.h"
#include "Host/System/ResultDescriptor.h"
#include "Host/Text/Errors.h"
#include "Toolbox/KelUtils/Files/Internal/Descriptor.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

/// Bytes of the result that are kept; what follows is read and discarded.
constexpr std::size_t kMostResult = std::size_t{1024} * 1024;
/// Time that the child has for ending what it has started. A process that waits for a failing disk may take longer.
constexpr int kPatienceMilliseconds = 5000;
/// Interval of the checks on a child for which the system has no descriptor.
constexpr int kStepMilliseconds = 10;
/// Bytes of the printed text that are kept.
constexpr std::size_t kMostPrinted = std::size_t{8} * 1024;

/// Throws SystemFailure with the present errno ("a child process: cannot ACTION: ...") unless `done`.
void Require(bool done, const char* action) {
  if (!done) {
    throw SystemFailure("a child process", action, errno);
  }
}

/// A pipe whose reading end does not block. Neither end is inherited by programs that this process starts.
struct Pipe {
  Pipe() : Pipe(Open()) {}
  explicit Pipe(const std::array<int, 2>& ends) : reading(ends[0]), writing(ends[1]) {}

  static std::array<int, 2> Open() {
    std::array<int, 2> ends{};
    Require(pipe2(ends.data(), O_CLOEXEC) == 0, "make a pipe");
    fcntl(ends[0], F_SETFL, O_NONBLOCK);
    return ends;
  }

  Descriptor reading;
  Descriptor writing;
};

/// Appends what can be read now, up to `most` bytes in all; false at the end of the stream.
bool Collect(const Descriptor& descriptor, std::string& text, std::size_t most) {
  std::array<char, 4096> buffer{};
  for (;;) {
    // Reads on when `text` is full: a child that prints more than is kept must not block on a full pipe.
    const ssize_t count = read(descriptor.Get(), buffer.data(), buffer.size());
    if (count > 0) {
      text.append(buffer.data(), std::min(static_cast<std::size_t>(count), most - text.size()));
    } else if (count == 0 || errno != EINTR) {
      return count != 0 && errno == EAGAIN;
    }
  }
}

/// This process's environment; an addition "NAME=VALUE" replaces the entry of the same name.
std::vector<std::string> EnvironmentWith(const std::vector<std::string>& additions) {
  std::vector<std::string> environment;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string_view text(*entry);
    // With the "=", so that PATH does not match PATH_EXTRA.
    const std::string_view name = text.substr(0, text.find('=') + 1);
    if (std::none_of(additions.begin(), additions.end(),
                     [name](const std::string& addition) { return addition.starts_with(name); })) {
      environment.emplace_back(text);
    }
  }
  environment.insert(environment.end(), additions.begin(), additions.end());
  return environment;
}

/// The array that posix_spawn takes, ended by a null pointer. It points into `texts`, which must outlive it.
std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers(texts.size() + 1);
  std::transform(texts.begin(), texts.end(), pointers.begin(), [](std::string& text) { return text.data(); });
  return pointers;
}

/// The attributes and descriptors that a child starts with.
class SpawnSetup {
 public:
  SpawnSetup(int output, int result) {
    posix_spawnattr_init(&m_attributes);
    posix_spawn_file_actions_init(&m_actions);
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    // A child inherits the blocked signals of EndingSignalsHeld and the ignored SIGPIPE unless both are reset.
    posix_spawnattr_setsigmask(&m_attributes, &none);
    posix_spawnattr_setsigdefault(&m_attributes, &all);
    // A process group of its own, which Child::End can kill as a whole.
    posix_spawnattr_setpgroup(&m_attributes, 0);
    posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    int error = posix_spawn_file_actions_addopen(&m_actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    // The pipes are O_CLOEXEC, but the copies that dup2 makes stay open in the new program.
    for (const auto& [from, to] :
         {std::pair(output, STDOUT_FILENO), std::pair(output, STDERR_FILENO), std::pair(result, ResultDescriptor())}) {
      error = error != 0 ? error : posix_spawn_file_actions_adddup2(&m_actions, from, to);
    }
    errno = error;
    Require(error == 0, "be prepared");
  }
  SpawnSetup(const SpawnSetup&) = delete;
  SpawnSetup& operator=(const SpawnSetup&) = delete;
  ~SpawnSetup() {
    posix_spawn_file_actions_destroy(&m_actions);
    posix_spawnattr_destroy(&m_attributes);
  }

  /// Starts the program of the task and returns its process id.
  pid_t Start(const ChildTask& task) const {
    std::vector<std::string> arguments{"rhohost"};
    arguments.insert(arguments.end(), task.arguments.begin(), task.arguments.end());
    std::vector<std::string> environment = EnvironmentWith(task.environment);
    pid_t process = -1;
    // posix_spawn returns the error. /proc/self/exe is this program even after its file was replaced.
    errno = posix_spawn(&process, task.program.empty() ? "/proc/self/exe" : task.program.c_str(), &m_actions,
                        &m_attributes, Pointers(arguments).data(), Pointers(environment).data());
    Require(errno == 0, "be started");
    return process;
  }

 private:
  posix_spawnattr_t m_attributes{};
  posix_spawn_file_actions_t m_actions{};
};

/// A running child with everything that it has started, none of which outlives the object.
class Child {
 public:
  /// Takes over the process, which has not been waited for. The system call is made by number since glibc has
  /// pidfd_open from 2.36 on only.
  explicit Child(pid_t process)
      : m_process(process), m_descriptor(static_cast<int>(syscall(SYS_pidfd_open, process, 0))) {}
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() { End(); }

  /// Readable once it has ended; not open where the system has no descriptors for processes (valgrind has none).
  const Descriptor& Ended() const { return m_descriptor; }

  /// Whether it has ended; its status can still be asked for.
  bool HasEnded() const {
    // WNOWAIT leaves the status to waitpid. An error counts as the end, so that no caller waits forever.
    siginfo_t info{};
    return waitid(P_PID, static_cast<id_t>(m_process), &info, WEXITED | WNOHANG | WNOWAIT) != 0 || info.si_pid != 0;
  }

  /// How long the work below it has been ready to run while others had the processors. 0 where the system does not
  /// tell.
  std::chrono::nanoseconds WaitedForProcessor() const {
    // The process that does the work is the only child of the supervisor's only thread (BecomeChild).
    pid_t work = 0;
    std::ifstream(fmt::format("/proc/{0}/task/{0}/children", m_process)) >> work;
    std::int64_t longest = 0;
    std::error_code error;
    for (std::filesystem::directory_iterator thread(fmt::format("/proc/{}/task", work), error), end;
         !error && thread != end; thread.increment(error)) {
      // Fields of schedstat: nanoseconds on a processor, nanoseconds in the run queue, number of time slices.
      std::int64_t ran = 0;
      std::int64_t waited = 0;
      std::ifstream(thread->path() / "schedstat") >> ran >> waited;
      longest = std::max(longest, waited);
    }
    return std::chrono::nanoseconds(longest);
  }

  /// Ends it and everything that it has started, and returns its status as waitpid does; nothing if the status is lost.
  /// The group is killed before the leader is waited for: until then no other process can have its number.
  std::optional<int> End() {
    if (m_process != -1) {
      // The supervisor kills everything that the work has started, then ends. SIGKILL follows if that takes too long.
      kill(m_process, SIGTERM);
      // Without a descriptor poll ignores the entry (-1) and only sleeps for one step.
      pollfd ended{m_descriptor.Get(), POLLIN, 0};
      const int step = m_descriptor.IsOpen() ? kPatienceMilliseconds : kStepMilliseconds;
      for (int waited = 0; waited < kPatienceMilliseconds && !HasEnded(); waited += step) {
        poll(&ended, 1, step);
      }
      kill(-m_process, SIGKILL);
      kill(m_process, SIGKILL);
      int status = 0;
      pid_t waited = -1;
      do {
        waited = waitpid(m_process, &status, 0);
      } while (waited == -1 && errno == EINTR);
      // ECHILD: SIGCHLD is ignored, or another thread has waited for all children.
      m_status = waited == m_process ? std::optional(status) : std::nullopt;
      m_process = -1;
    }
    return m_status;
  }

 private:
  pid_t m_process;
  Descriptor m_descriptor;
  std::optional<int> m_status;
};

/// Waits until the child ends, its time is up or a signal arrives.
class Watch {
 public:
  /// The arguments must outlive the object. `signals` is a signalfd.
  Watch(const Child& child, const Descriptor& output, const Descriptor& result, const Descriptor& signals)
      : m_child(child), m_output(output), m_result(result) {
    m_polled = {{{child.Ended().Get(), POLLIN, 0},
                 {signals.Get(), POLLIN, 0},
                 {output.Get(), POLLIN, 0},
                 {result.Get(), POLLIN, 0}}};
  }

  /// Time that the child has waited for a processor does not count, up to ten times the limit: a machine that is busy
  /// with something else does not make it hang.
  ChildEnd::How For(Clock::duration limit, ChildEnd& end) {
    const Clock::time_point start = Clock::now();
    Clock::time_point deadline = start + limit;
    for (;;) {
      // Rounded up: rounding down would make the last millisecond a busy loop.
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
      const bool hasDescriptor = m_child.Ended().IsOpen();
      const long patience = std::clamp<long>(left, 0, hasDescriptor ? INT_MAX : kStepMilliseconds);
      const int ready = poll(m_polled.data(), m_polled.size(), static_cast<int>(patience));
      // EINTR is harmless: no descriptor counts as ready, and the next round polls again.
      Require(ready >= 0 || errno == EINTR, "be watched");
      if ((ready > 0 && m_polled[0].revents != 0) || (!hasDescriptor && m_child.HasEnded())) {
        return ChildEnd::kExited;
      }
      if (ready > 0 && m_polled[1].revents != 0) {
        return ChildEnd::kInterrupted;
      }
      if (left <= 0) {  // checked each time, also while the child prints without end
        deadline = start + limit + std::min<Clock::duration>(m_child.WaitedForProcessor(), 10 * limit);
        if (deadline <= Clock::now()) {
          return ChildEnd::kTimedOut;
        }
      }
      CollectAll(end);
    }
  }

  /// Reads what both pipes hold now. At the end of a stream its entry becomes -1, which poll ignores: otherwise poll
  /// would return at once from then on.
  void CollectAll(ChildEnd& end) {
    m_polled[2].fd = Collect(m_output, end.printed, kMostPrinted) ? m_output.Get() : -1;
    m_polled[3].fd = Collect(m_result, end.result, kMostResult) ? m_result.Get() : -1;
  }

 private:
  const Child& m_child;
  const Descriptor& m_output;
  const Descriptor& m_result;
  std::array<pollfd, 4> m_polled{};
};

}  // namespace

ChildEnd RunChild(const ChildTask& task) {
  // Held before the child starts: a signal that arrives from here on ends the child.
  const EndingSignalsHeld held;
  const Descriptor signals(signalfd(-1, &held.Signals(), SFD_CLOEXEC));
  Pipe output;
  Pipe result;
  const SpawnSetup setup(output.writing.Get(), result.writing.Get());
  Child child(setup.Start(task));
  Require(signals.IsOpen(), "be watched");
  // The reading ends reach the end of their streams only when no process has a writing end open.
  output.writing.Close();
  result.writing.Close();

  ChildEnd end;
  Watch watch(child, output.reading, result.reading, signals);
  end.how = watch.For(task.timeLimit, end);
  // Also after an exit: descendants may still run and hold the pipes open. What they wrote is collected afterwards.
  const std::optional<int> status = child.End();
  watch.CollectAll(end);
  if (!status) {
    end.code = ChildEnd::kLostCode;
    return end;
  }
  if (end.how == ChildEnd::kExited && WIFSIGNALED(*status)) {
    end.how = ChildEnd::kCrashed;
  }
  end.code = WIFSIGNALED(*status) ? WTERMSIG(*status) : WEXITSTATUS(*status);
  return end;
}

std::string DescribeEnd(const ChildEnd& end, std::chrono::milliseconds timeLimit, const std::string& where) {
  switch (end.how) {
    case ChildEnd::kExited:
      break;
    case ChildEnd::kCrashed: {
      const char* const name = sigabbrev_np(end.code);
      return name == nullptr ? fmt::format("crashed{} (signal {})", where, end.code)
                             : fmt::format("crashed{} (SIG{})", where, name);
    }
    case ChildEnd::kTimedOut:
      return fmt::format("hung{} for more than {:g} s", where, std::chrono::duration<double>(timeLimit).count());
    case ChildEnd::kInterrupted:
      return "was interrupted" + where;
  }
  if (end.code == ChildEnd::kLostCode) {
    return fmt::format("ended{}; whether by a crash is unknown, since this program ignores SIGCHLD", where);
  }
  return fmt::format("ended the process{} (exit code {})", where, end.code);
}
