#include "Host/Validate/Support/ProcessState.h"

#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/Mappings.h"

#include <algorithm>
#include <array>
#include <cfenv>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <limits>
#include <locale>
#include <new>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <stdio_ext.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

/// The file's contents; empty when it cannot be read, as where the kernel has no such file in /proc.
std::string ReadAll(const char* path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// The handler by its address, which tells two of them apart; sa_handler and sa_sigaction share their place.
std::string HandlerText(const struct sigaction& action) {
  const auto address = reinterpret_cast<std::uintptr_t>(action.sa_handler);
  return action.sa_handler == SIG_DFL   ? "the default"
         : action.sa_handler == SIG_IGN ? "ignored"
                                        : fmt::format("a handler at {:#x}, flags {:#x}", address, action.sa_flags);
}

template <class Pointer>
std::string AddressText(Pointer pointer) {
  return fmt::format("{:#x}", reinterpret_cast<std::uintptr_t>(pointer));
}

/// Whether the processor flushes subnormal results to zero (FTZ). Volatile keeps the compiler from computing it, here
/// and below.
bool AreSmallestNumbersZero() {
  volatile double small = std::numeric_limits<double>::min();
  small = small / 2;
  return small == 0;
}

/// Whether the processor takes subnormal operands as zero (DAZ).
bool AreSmallestOperandsZero() {
  volatile double small = std::numeric_limits<double>::denorm_min();
  return small * 2 == 0;
}

/// False when the precision control of the x87 unit is reduced, which makes the sum round to 1.
bool HasAllLongDoubleBits() {
  volatile long double one = 1;
  volatile long double sum = one + std::numeric_limits<long double>::epsilon();
  return sum != one;
}

/// Whether all floating-point exceptions that the last call raised are still raised. Raises all for the next call; the
/// first call raises them itself.
bool AreAllExceptionsRaised() {
  static const bool isFirst = std::feraiseexcept(FE_ALL_EXCEPT) == 0;
  const bool areRaised = isFirst && std::fetestexcept(FE_ALL_EXCEPT) == FE_ALL_EXCEPT;
  std::feraiseexcept(FE_ALL_EXCEPT);
  return areRaised;
}

/// Adds the format, state and buffer of a C++ stream.
void AddStream(ProcessState& state, const char* name, const std::ios& stream) {
  state[name] = fmt::format(
      "flags {:#x}, precision {}, width {}, fill {:#x}, state {}, exceptions {}, buffer {}, tie {}, "
      "locale {}",
      static_cast<unsigned int>(stream.flags()), stream.precision(), stream.width(), static_cast<int>(stream.fill()),
      static_cast<int>(stream.rdstate()), static_cast<int>(stream.exceptions()), AddressText(stream.rdbuf()),
      AddressText(stream.tie()), stream.getloc().name());
}

/// Adds the descriptor, buffering, error flag and orientation of a C stream.
void AddFile(ProcessState& state, const char* name, FILE* file) {
  state[name] = fmt::format("descriptor {}, {} buffered{}{}", fileno(file), __flbf(file) != 0 ? "line" : "block",
                            ferror(file) != 0 ? ", error" : "", fwide(file, 0) > 0 ? ", wide" : "");
}

/// Adds what the C library keeps from call to call, and restores it for the next time: results in static memory, the
/// next numbers of the generators and the next token of strtok.
void AddHiddenState(ProcessState& state) {
  static const std::time_t time = 1'000'000'000;
  static const std::tm* const shared = std::gmtime(&time);  // not localtime, which would also set the time zone
  state["result of localtime and gmtime"] = fmt::format("{}:{}", shared->tm_min, shared->tm_sec);
  std::gmtime(&time);
  // From the same seed, the first number is the same each time unless somebody else has drawn one.
  static const bool isSeeded = (std::srand(1), srand48(1), true);
  // strtok keeps its position: after "a" the next token is "b" unless somebody else has called it.
  static char text[] = "a,b";
  static const char* const first = strtok(text, ",");
  const char* const token = isSeeded && first != nullptr ? strtok(nullptr, ",") : nullptr;
  state["next number of rand"] = fmt::to_string(std::rand());
  state["next number of drand48"] = fmt::to_string(drand48());
  state["next token of strtok"] = token == nullptr ? "none" : token;
  // The lowest one that is free: another one when somebody has taken a key and not given it back.
  pthread_key_t key = 0;
  const bool isFree = pthread_key_create(&key, nullptr) == 0;
  state["next key of thread-specific data"] = isFree ? fmt::to_string(key) : "none";
  if (isFree) {
    pthread_key_delete(key);
  }
  std::srand(1);
  srand48(1);
  // strtok has replaced the comma by a NUL.
  text[1] = ',';
  strtok(text, ",");
}

}  // namespace

ProcessState Threads() {
  ProcessState state;
  for (const auto& thread : fs::directory_iterator("/proc/self/task")) {
    state["thread " + thread.path().filename().string()] = "running";
    std::string children = ReadAll((thread.path() / "children").c_str());
    state["child processes of thread " + thread.path().filename().string()] = children.empty() ? "none" : children;
  }
  // Children that ended and were waited for have used resources, too.
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  // The largest resident size of any child that was waited for; 0 before the first.
  state["child processes that ran"] = usage.ru_maxrss == 0 ? "none" : "some";
  return state;
}

ProcessState Descriptors() {
  ProcessState state;
  // Listed before they are asked about, because the listing holds a descriptor itself.
  std::vector<int> open;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    open.push_back(std::stoi(entry.path().filename()));
  }
  for (const int descriptor : open) {
    // The iterator's own is closed by now.
    if (const int flags = fcntl(descriptor, F_GETFD); flags != -1) {
      std::error_code error;
      state[fmt::format("descriptor {}", descriptor)] = fmt::format(
          "{}, flags {:#x} {:#x}", fs::read_symlink(fmt::format("/proc/self/fd/{}", descriptor), error).string(), flags,
          fcntl(descriptor, F_GETFL));
    }
  }
  // -1 for a pipe or a terminal, which has no position.
  const off_t input = lseek(STDIN_FILENO, 0, SEEK_CUR);
  state["position in standard input"] = input == -1 ? "none" : fmt::to_string(input);
  AddFile(state, "stdin", stdin);
  AddFile(state, "stdout", stdout);
  AddFile(state, "stderr", stderr);
  return state;
}

ProcessState Signals() {
  ProcessState state;
  sigset_t blocked;
  sigset_t pending;
  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  sigpending(&pending);
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    struct sigaction action {};
    // Fails for the signals that the C library keeps for itself.
    if (sigaction(signal, nullptr, &action) == 0) {
      state[fmt::format("signal {}", signal)] =
          fmt::format("{}{}{}", HandlerText(action), sigismember(&blocked, signal) == 1 ? ", blocked" : "",
                      sigismember(&pending, signal) == 1 ? ", pending" : "");
    }
  }
  stack_t stack{};
  sigaltstack(nullptr, &stack);
  state["stack for signals"] = (stack.ss_flags & SS_DISABLE) != 0 ? "none" : AddressText(stack.ss_sp);
  for (const auto& [timer, name] : {std::pair(ITIMER_REAL, "alarm timer"), std::pair(ITIMER_VIRTUAL, "virtual timer"),
                                    std::pair(ITIMER_PROF, "profiling timer")}) {
    itimerval value{};
    getitimer(timer, &value);
    state[name] = value.it_value.tv_sec != 0 || value.it_value.tv_usec != 0 ? "set" : "not set";
  }
  // Timers of timer_create; getitimer does not list them.
  const std::string timers = ReadAll("/proc/self/timers");
  state["POSIX timers"] = timers.empty() ? "none" : timers;
  return state;
}

ProcessState Surroundings() {
  ProcessState state;
  AddHiddenState(state);
  state.merge(ProcessState{{"locale", std::setlocale(LC_ALL, nullptr)},
                           {"locale of the thread", AddressText(uselocale(nullptr))},
                           {"C++ locale", std::locale().name()},
                           {"working folder", fs::current_path()},
                           {"root folder", fs::read_symlink("/proc/self/root")},
                           {"rounding of numbers", fmt::to_string(std::fegetround())},
                           {"trapped floating-point exceptions", fmt::to_string(fegetexcept())},
                           {"subnormal results", AreSmallestNumbersZero() ? "flushed to zero" : "as they are"},
                           {"subnormal operands", AreSmallestOperandsZero() ? "taken as zero" : "as they are"},
                           {"raised floating-point exceptions", AreAllExceptionsRaised() ? "kept" : "cleared"},
                           // Returns what was set before.
                           {"standard streams", std::ios::sync_with_stdio(true) ? "with stdio" : "on their own"},
                           {"precision of long double", HasAllLongDoubleBits() ? "full" : "reduced"},
                           {"terminate handler", AddressText(std::get_terminate())},
                           {"new handler", AddressText(std::get_new_handler())},
                           {"time zone", fmt::format("{} {} {}", tzname[0], tzname[1], timezone)},
                           {"optind", fmt::format("{}, opterr {}", optind, opterr)}});
  AddStream(state, "std::cin", std::cin);
  AddStream(state, "std::cout", std::cout);
  AddStream(state, "std::cerr", std::cerr);
  AddStream(state, "std::clog", std::clog);
  // environ itself is null after clearenv.
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    const std::string text(*entry);
    state["environment variable " + text.substr(0, text.find('='))] = text.substr(text.find('=') + 1);
  }
  return state;
}

ProcessState Privileges() {
  ProcessState state;
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    const std::string name = line.substr(0, line.find(':'));
    for (const char* const kept : {"Name", "Umask", "Uid", "Gid", "Groups", "CapInh", "CapPrm", "CapEff", "CapBnd",
                                   "CapAmb", "NoNewPrivs", "Seccomp", "Cpus_allowed", "Mems_allowed", "VmLck"}) {
      if (name == kept) {
        // The last word: of the four user or group ids in a line that is the one for the file system.
        state[std::string(kept) == "Umask" ? "file mode mask" : name] = line.substr(line.find_last_of(" \t") + 1);
      }
    }
  }
  for (int limit = 0; limit < static_cast<int>(RLIM_NLIMITS); ++limit) {
    rlimit value{};
    getrlimit(static_cast<__rlimit_resource>(limit), &value);
    state[fmt::format("resource limit {}", limit)] = fmt::format("{} of {}", value.rlim_cur, value.rlim_max);
  }
  sched_param parameter{};
  sched_getparam(0, &parameter);
  state["scheduling"] = fmt::format("policy {}, priority {}, nice {}", sched_getscheduler(0), parameter.sched_priority,
                                    getpriority(PRIO_PROCESS, 0));
  state["process group and session"] = fmt::format("{}, {}", getpgrp(), getsid(0));
  const std::vector<Mapping> mappings = ReadMappings();
  const auto isUnsafe = [](const Mapping& mapping) { return mapping.isWritable && mapping.isExecutable; };
  state["ranges of memory both writable and executable"] =
      fmt::to_string(std::count_if(mappings.begin(), mappings.end(), isUnsafe));
  int reaper = 0;
  int deathSignal = 0;
  prctl(PR_GET_CHILD_SUBREAPER, &reaper);
  prctl(PR_GET_PDEATHSIG, &deathSignal);
  state["process attributes"] = fmt::format(
      "dumpable {}, keeps capabilities {}, timer slack {}, subreaper {}, signal on the death of the parent {}",
      prctl(PR_GET_DUMPABLE), prctl(PR_GET_KEEPCAPS), prctl(PR_GET_TIMERSLACK), reaper, deathSignal);
  for (const char* const file : {"oom_score_adj", "coredump_filter", "personality"}) {
    state[file] = ReadAll(fmt::format("/proc/self/{}", file).c_str());
  }
  return state;
}

void MakeProcessUnusual() {
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    // Not those of a crash, which must end this process and be reported, nor SIGTERM, which asks it to end, nor
    // SIGCHLD, whose handling decides whether children leave a status. SIGKILL and SIGSTOP cannot be changed.
    if (signal != SIGCHLD && signal != SIGABRT && signal != SIGSEGV && signal != SIGBUS && signal != SIGFPE &&
        signal != SIGILL && signal != SIGTERM) {
      std::signal(
          signal, signal % 2 == 0 ? SIG_IGN : [](int) {});
    }
  }
  sigset_t blocked;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
  // Static, because the process uses it until it ends.
  static std::array<char, 65536> signalStack{};
  stack_t stack{};
  stack.ss_sp = signalStack.data();
  stack.ss_size = signalStack.size();
  sigaltstack(&stack, nullptr);
  // Timers that are set, but do not go off before the check is over.
  const itimerval inADay{{0, 0}, {86400, 0}};
  for (const auto timer : {ITIMER_REAL, ITIMER_VIRTUAL, ITIMER_PROF}) {
    setitimer(timer, &inADay, nullptr);
  }
  // POSIX form: a zone called HOST, seven hours east of Greenwich.
  setenv("TZ", "HOST-7", 1);
  tzset();
  std::setlocale(LC_ALL, "C.UTF-8");
  // For this thread only, and other than the process's.
  uselocale(newlocale(LC_ALL_MASK, "C", nullptr));
  std::fesetround(FE_DOWNWARD);
  std::set_terminate([] { std::abort(); });
  // What operator new does without a handler; the address differs.
  std::set_new_handler([] { throw std::bad_alloc(); });
  std::cin.tie(nullptr);
  std::cout << std::hex << std::setprecision(9) << std::setfill('*');
  std::cerr << std::hex << std::nounitbuf;
  fcntl(STDIN_FILENO, F_SETFL, O_NONBLOCK);
  umask(027);
  prctl(PR_SET_NAME, "unusual");
  prctl(PR_SET_TIMERSLACK, 60000);
  for (const auto limit : {RLIMIT_CORE, RLIMIT_FSIZE}) {
    rlimit value{};
    getrlimit(limit, &value);
    // Below the hard limit where that is higher, and more than any check writes.
    value.rlim_cur = std::min<rlim_t>(value.rlim_max, rlim_t{1} << 30U);
    setrlimit(limit, &value);
  }
  optind = 3;
  opterr = 0;
}

void ExpectUnchanged(const ProcessState& before, const ProcessState& after, const std::string& when) {
  const auto value = [](const ProcessState& state, const std::string& name) {
    const auto found = state.find(name);
    return found == state.end() ? std::string("nothing") : found->second;
  };
  // Entries that have appeared or disappeared count as changes, too.
  ProcessState all = before;
  all.insert(after.begin(), after.end());
  // The values in `all` are of no interest, only its names.
  for (const auto& [name, ignored] : all) {
    const std::string is = value(after, name);
    const std::string was = value(before, name);
    ExpectThat(is == was, is, "{} after {} as before: {}", name, when, was);
  }
}

PrintedText::PrintedText()
    : m_file(memfd_create("printed", MFD_CLOEXEC)),
      m_output(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)),
      m_errors(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)) {
  // What is still buffered was printed before, and belongs to the old descriptors.
  std::fflush(nullptr);
  dup2(m_file.Get(), STDOUT_FILENO);
  dup2(m_file.Get(), STDERR_FILENO);
}

PrintedText::~PrintedText() {
  // What is still buffered was printed while the object lived.
  std::fflush(nullptr);
  dup2(m_output.Get(), STDOUT_FILENO);
  dup2(m_errors.Get(), STDERR_FILENO);
}

std::string PrintedText::Text() const {
  std::fflush(nullptr);
  // dup2 shares the offset, which is thus the number of bytes written so far.
  std::string text(static_cast<std::size_t>(lseek(m_file.Get(), 0, SEEK_CUR)), '\0');
  const ssize_t count = pread(m_file.Get(), text.data(), text.size(), 0);
  text.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  return text;
}
