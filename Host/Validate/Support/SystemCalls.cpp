#include "Host/Validate/Support/SystemCalls.h"

#include "Host/Validate/Engine/Check.h"

#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <vector>

namespace {

#if defined(__x86_64__)

/// A system call that is watched: always, or depending on the lower 32 bits of argument number `argument` (from 0).
struct Watched {
  /// kBits: one of the bits of `value` is set. kNotBits: none is. kEquals: the argument equals `value`.
  enum When { kAlways, kBits, kNotBits, kNotZero, kEquals };

  int number = 0;
  const char* name = "";
  When when = kAlways;
  unsigned int argument = 0;
  unsigned int value = 0;
};

/// Flags of open(2) that allow a change of the file.
constexpr unsigned int kWriting = O_WRONLY | O_RDWR | O_CREAT | O_TRUNC;

#define ALWAYS(name) \
  Watched { SYS_##name, #name }

// clang-format off
// open and openat: the flags. clone: a new process, not a thread. read: from standard input. rt_sigaction, prlimit64
// and sigaltstack: a pointer to new values, null in mere queries.
constexpr std::array kWatched{
    Watched{SYS_open, "open", Watched::kBits, 1, kWriting}, Watched{SYS_openat, "openat", Watched::kBits, 2, kWriting},
    Watched{SYS_clone, "clone", Watched::kNotBits, 0, CLONE_THREAD}, Watched{SYS_read, "read", Watched::kEquals, 0, 0},
    Watched{SYS_rt_sigaction, "rt_sigaction", Watched::kNotZero, 1}, Watched{SYS_prlimit64, "prlimit64", Watched::kNotZero, 2},
    Watched{SYS_sigaltstack, "sigaltstack", Watched::kNotZero, 0}, Watched{SYS_ioctl, "ioctl", Watched::kEquals, 1, TCSETS},
    ALWAYS(creat), ALWAYS(mkdir), ALWAYS(mkdirat), ALWAYS(rmdir), ALWAYS(unlink), ALWAYS(unlinkat), ALWAYS(rename),
    ALWAYS(renameat), ALWAYS(renameat2), ALWAYS(link), ALWAYS(linkat), ALWAYS(symlink), ALWAYS(symlinkat), ALWAYS(mknod),
    ALWAYS(mknodat), ALWAYS(truncate), ALWAYS(chmod), ALWAYS(fchmod), ALWAYS(fchmodat), ALWAYS(chown), ALWAYS(fchown),
    ALWAYS(lchown), ALWAYS(fchownat), ALWAYS(utimensat), ALWAYS(setxattr), ALWAYS(socket), ALWAYS(socketpair),
    ALWAYS(fork), ALWAYS(vfork), ALWAYS(execve), ALWAYS(execveat), ALWAYS(kill), ALWAYS(tkill), ALWAYS(tgkill), ALWAYS(ptrace),
    ALWAYS(setrlimit), ALWAYS(umask), ALWAYS(chdir), ALWAYS(fchdir), ALWAYS(chroot), ALWAYS(setpriority),
    ALWAYS(sched_setaffinity), ALWAYS(sched_setscheduler), ALWAYS(sched_setparam), ALWAYS(sched_setattr),
    ALWAYS(setitimer), ALWAYS(alarm), ALWAYS(timer_create), ALWAYS(timerfd_create), ALWAYS(prctl), ALWAYS(personality),
    ALWAYS(setpgid), ALWAYS(setsid), ALWAYS(setuid), ALWAYS(setgid), ALWAYS(setreuid), ALWAYS(setregid),
    ALWAYS(setresuid), ALWAYS(setresgid), ALWAYS(setgroups), ALWAYS(capset), ALWAYS(nanosleep), ALWAYS(clock_nanosleep),
    ALWAYS(pause), ALWAYS(mlock), ALWAYS(mlock2), ALWAYS(mlockall), ALWAYS(shmget), ALWAYS(semget), ALWAYS(msgget),
    ALWAYS(mq_open), ALWAYS(mount), ALWAYS(sethostname), ALWAYS(ioprio_set), ALWAYS(unshare), ALWAYS(flock),
    ALWAYS(settimeofday), ALWAYS(clock_settime), ALWAYS(adjtimex), ALWAYS(clock_adjtime)};
// clang-format on
#undef ALWAYS

// Set by the signal handler: the first watched call since WatchedSystemCall, -1 for none, and the path that it opens.
volatile int g_number = -1;
std::array<char, 256> g_path{};

/// Handler of SIGSYS, which the kernel sends to the calling thread in place of the system call. Calls only what is safe
/// in a signal handler.
void Note(int /*signal*/, siginfo_t* info, void* context) {
  greg_t* const registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
  if (g_number == -1) {
    // The path is the first argument of open, in RDI, and the second one of openat, in RSI.
    const auto path = info->si_syscall == SYS_openat ? registers[REG_RSI]
                      : info->si_syscall == SYS_open ? registers[REG_RDI]
                                                     : 0;
    g_path[0] = '\0';
    if (path != 0) {
      // NOLINTNEXTLINE(performance-no-int-to-ptr): a register holds the argument of a system call as a number.
      std::strncpy(g_path.data(), reinterpret_cast<const char*>(path), g_path.size() - 1);
    }
    g_number = info->si_syscall;
  }
  // The caller finds this as the result of its system call.
  registers[REG_RAX] = -EPERM;
}

/// Appends the instructions for one system call. The accumulator holds the call's number before and after them: the
/// body, which loads an argument, always returns.
void AddWatched(std::vector<sock_filter>& filter, const Watched& watched) {
  // The address of the lower half: x86-64 is little-endian. The filter machine loads 32 bits at a time.
  const auto argument = static_cast<unsigned int>(offsetof(seccomp_data, args) + sizeof(__u64) * watched.argument);
  const auto number = static_cast<unsigned int>(watched.number);
  const sock_filter trap = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRAP);
  const sock_filter allow = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
  const sock_filter load = BPF_STMT(BPF_LD | BPF_W | BPF_ABS, argument);
  std::vector<sock_filter> body;
  // The two numbers of a jump are the instructions to skip if the condition holds and if not.
  switch (watched.when) {
    case Watched::kAlways:
      body = {trap};
      break;
    case Watched::kBits:
      body = {load, BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, watched.value, 0, 1), trap, allow};
      break;
    case Watched::kNotBits:
      body = {load, BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, watched.value, 1, 0), trap, allow};
      break;
    case Watched::kNotZero:  // a pointer, whose lower half is not zero either
      body = {load, BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, 0, 1, 0), trap, allow};
      break;
    case Watched::kEquals:
      body = {load, BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, watched.value, 0, 1), trap, allow};
      break;
  }
  // Another number: skips the body, which is a few instructions long.
  filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, static_cast<unsigned char>(body.size())));
  filter.insert(filter.end(), body.begin(), body.end());
}

#endif

}  // namespace

#if defined(__x86_64__)

void WatchSystemCalls() {
  struct sigaction action {};
  action.sa_sigaction = Note;
  // SA_NODEFER keeps SIGSYS unblocked in the handler: a watched call while it is blocked ends the process.
  action.sa_flags = SA_SIGINFO | SA_NODEFER;
  sigaction(SIGSYS, &action, nullptr);
  std::vector<sock_filter> filter{
      // Calls by another architecture's convention (32-bit) have other numbers, and are let through.
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, AUDIT_ARCH_X86_64, 1, 0),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      // The flags of clone3 lie in memory, which a filter cannot read. Without clone3 the C library uses clone.
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone3, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
  };
  for (const Watched& watched : kWatched) {
    AddWatched(filter, watched);
  }
  filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  // The length fits: BPF_MAXINSNS is 4096, and the kernel refuses longer filters.
  const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
  // The kernel demands the first from a process that is not privileged. Threads inherit the filter.
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
    throw CheckSkipped{"the kernel does not let this process filter system calls"};
  }
}

std::string WatchedSystemCall() {
  if (g_number == -1) {
    return {};
  }
  const auto* const watched =
      std::find_if(kWatched.begin(), kWatched.end(), [](const Watched& entry) { return entry.number == g_number; });
  const char* const name = watched == kWatched.end() ? "another system call" : watched->name;
  std::string text = g_path[0] == '\0' ? fmt::format("{}()", name) : fmt::format("{}(\"{}\")", name, g_path.data());
  g_number = -1;
  return text;
}

#else

void WatchSystemCalls() { throw CheckSkipped{"system calls are watched on x86-64 only"}; }

std::string WatchedSystemCall() { return {}; }

#endif
