#include "Host/System/TemporaryName.h"

#include "Toolbox/KelUtils/Platform/Internal/Interrupted.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <random>

#include <fcntl.h>
#include <unistd.h>

namespace {

// What the signal handler reads. A thread that makes a file has its signals blocked meanwhile, so that the handler,
// which then runs on another thread, can wait for it.
enum class SlotState { free, creating, guarded };
struct Slot {
  std::atomic<SlotState> state{SlotState::free};
  std::array<char, 4096> path{};
};
static_assert(std::atomic<SlotState>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

std::array<Slot, 256> slots;
constexpr std::size_t kNoSlot = slots.size();
std::atomic<bool> isEnding{false};

// Once another thread has begun to end the process: nothing more happens on this one.
void StayIfEnding() {
  while (isEnding) {
    pause();
  }
}

class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &m_previous);
  }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_previous, nullptr); }

 private:
  sigset_t m_previous{};
};

std::size_t ClaimSlot(const std::string& path) {
  if (path.size() >= slots.front().path.size()) {
    return kNoSlot;
  }
  for (std::size_t index = 0; index < slots.size(); ++index) {
    SlotState expected = SlotState::free;
    if (slots[index].state.compare_exchange_strong(expected, SlotState::creating)) {
      return index;
    }
  }
  return kNoSlot;
}

void RemoveAllFiles() {
  isEnding = true;
  for (const Slot& slot : slots) {
    while (slot.state == SlotState::creating) {
      const timespec shortly{0, 100'000};
      nanosleep(&shortly, nullptr);
    }
    if (slot.state == SlotState::guarded) {
      unlink(slot.path.data());
    }
  }
}

extern "C" void RemoveFilesAndEnd(int signal) {
  RemoveAllFiles();
  struct sigaction standard {};
  standard.sa_handler = SIG_DFL;
  sigaction(signal, &standard, nullptr);
  raise(signal);  // takes effect when this handler returns
}

std::string RandomDigits() {
  constexpr std::size_t kDigits = 16;
  std::random_device random;
  std::uniform_int_distribution<std::size_t> digit(0, 15);
  std::string digits(kDigits, '0');
  std::generate(digits.begin(), digits.end(), [&] { return "0123456789abcdef"[digit(random)]; });
  return digits;
}

std::string NameBeside(std::string_view target) {
  constexpr std::size_t kLongestPart = 200;  // of the 255 bytes that a name may have
  const std::size_t nameAt = target.rfind('/') + 1;
  std::string path(target.substr(0, nameAt));
  path.append(".").append(target.substr(nameAt, kLongestPart));
  return path.append(".rhohost-").append(RandomDigits()).append(".tmp");
}

int MoveWithoutReplacing(const char* from, const char* to) {
  if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) {
    return 0;
  }
  if (errno != EINVAL && errno != ENOSYS) {
    return errno;
  }
  // Some file systems know no such rename. A hard link does not replace anything either; the owner of the name `from`
  // removes it.
  return link(from, to) == 0 ? 0 : errno;
}

}  // namespace

TemporaryName::TemporaryName(std::string_view target) : m_path(NameBeside(target)), m_slot(kNoSlot) {}

TemporaryName::~TemporaryName() {
  if (m_isCreated) {
    unlink(m_path.c_str());
  }
  if (m_slot != kNoSlot) {
    slots[m_slot].state = SlotState::free;
  }
}

int TemporaryName::Create() {
  int descriptor = -1;
  int error = 0;
  {
    const SignalsBlocked blocked;
    m_slot = ClaimSlot(m_path);
    // When the process is ending, the handler may still be reading the path that was here before.
    if (!isEnding) {
      if (m_slot != kNoSlot) {
        std::memcpy(slots[m_slot].path.data(), m_path.c_str(), m_path.size() + 1);
      }
      constexpr int kFlags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC;
      descriptor = RetryInterrupted([this] { return open(m_path.c_str(), kFlags, 0666); });
      error = errno;
    }
    m_isCreated = descriptor != -1;
    if (m_slot != kNoSlot) {
      slots[m_slot].state = m_isCreated ? SlotState::guarded : SlotState::free;
      m_slot = m_isCreated ? m_slot : kNoSlot;
    }
  }
  StayIfEnding();
  errno = error;
  return descriptor;
}

int TemporaryName::MoveTo(const std::string& target, bool replaceExisting) {
  int error = 0;
  if (!replaceExisting) {
    error = MoveWithoutReplacing(m_path.c_str(), target.c_str());
  } else if (std::rename(m_path.c_str(), target.c_str()) != 0) {
    error = errno;
  }
  if (error != 0) {
    StayIfEnding();  // the file may just have been removed
  }
  return error;
}

void RemoveTemporaryFilesForGood() { RemoveAllFiles(); }

void RemoveTemporaryFilesOnSignals() {
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  for (const int signal : {SIGPIPE, SIGXFSZ}) {
    sigaction(signal, &ignore, nullptr);
  }
  struct sigaction end {};
  end.sa_handler = RemoveFilesAndEnd;
  sigfillset(&end.sa_mask);
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGXCPU, SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV}) {
    struct sigaction previous {};
    // One that is ignored stays so; and sanitizers have handlers for crashes.
    if (sigaction(signal, nullptr, &previous) == 0 && previous.sa_handler == SIG_DFL) {
      sigaction(signal, &end, nullptr);
    }
  }
}
