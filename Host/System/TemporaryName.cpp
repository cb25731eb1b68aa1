#include "Host/System/TemporaryName.h"

#include "Host/System/EndingSignals.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Utf8.h"
#include "Toolbox/KelUtils/Platform/Internal/Interrupted.h"

#include <fmt/format.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <unistd.h>

namespace {

// The signal handler reads the slots. A thread blocks its signals while it creates a file: the handler then runs on
// another thread and can wait until the file exists.
/// free: nobody's; creating: claimed, other members being written; guarded: the file exists, members are constant.
enum class SlotState { free, creating, guarded };
/// A file that the signal handler removes. `folder` stays open and owned by the TemporaryName.
struct Slot {
  std::atomic<SlotState> state{SlotState::free};
  int folder = -1;
  // NAME_MAX and a zero byte.
  std::array<char, 256> name{};
};
// A lock in a signal handler could be held by the interrupted thread.
static_assert(std::atomic<SlotState>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

std::array<Slot, 256> slots;
constexpr std::size_t kNoSlot = slots.size();
std::atomic<bool> isEnding{false};

/// Does not return once another thread has begun to end the process.
void StayIfEnding() {
  while (isEnding) {
    pause();
  }
}

/// Blocks every signal of this thread while it lives.
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

/// The index of a slot that becomes `creating`; kNoSlot if the name is too long or all are taken: the file is then
/// made, but not guarded.
std::size_t ClaimSlot(const std::string& name) {
  if (name.size() >= slots.front().name.size()) {
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

/// Runs in the signal handler too: takes no lock and allocates nothing.
void RemoveAllFiles() {
  // Create claims its slot before it reads isEnding. All four accesses are sequentially consistent: either Create sees
  // isEnding and makes no file, or the loop below sees its slot.
  isEnding = true;
  for (const Slot& slot : slots) {
    while (slot.state == SlotState::creating) {
      // The creating thread has its signals blocked and so does not run this handler itself.
      const timespec shortly{0, 100'000};
      nanosleep(&shortly, nullptr);
    }
    if (slot.state == SlotState::guarded) {
      unlinkat(slot.folder, slot.name.data(), 0);
    }
  }
}

/// The signal handler; its mask blocks all signals. Ends the process by the default action of the same signal.
extern "C" void RemoveFilesAndEnd(int signal) {
  RemoveAllFiles();
  struct sigaction standard {};
  standard.sa_handler = SIG_DFL;
  sigaction(signal, &standard, nullptr);
  raise(signal);  // takes effect when this handler returns
}

/// A hidden name with 64 random bits, of at most 230 bytes. Throws SystemFailure without random numbers.
std::string NameFor(std::string_view target) {
  constexpr std::size_t kLongestPart = 200;  // of the 255 bytes that a name may have
  // Not std::random_device: it asks the processor, which takes a twentieth of the time of a file in a batch.
  std::uint64_t number = 0;
  if (getentropy(&number, sizeof number) != 0) {
    throw SystemFailure(std::string(target), "choose a name for its temporary file", errno);
  }
  return fmt::format(".{}.rhohost-{:016x}.tmp", CutToBytes(target, kLongestPart), number);
}

/// Whether the name is taken. An error other than ENOENT counts as taken, so that nothing is replaced by mistake.
bool Exists(int folder, const char* name) {
  struct stat status {};
  return fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0 || errno != ENOENT;
}

/// Returns 0 or an errno.
int Rename(int folder, const char* from, const char* to) { return renameat(folder, from, folder, to) == 0 ? 0 : errno; }

/// Returns 0 or an errno, EEXIST if `to` exists. Where the file system cannot rename without replacing, a hard link
/// does the same.
int MoveWithoutReplacing(int folder, const char* from, const char* to) {
  if (renameat2(folder, from, folder, to, RENAME_NOREPLACE) == 0) {
    return 0;
  }
  // EINVAL: the file system does not know the flag. ENOSYS: neither does the kernel.
  if (errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP) {
    return errno;
  }
  if (linkat(folder, from, folder, to, 0) == 0) {
    unlinkat(folder, from, 0);
    return 0;
  }
  // EPERM: the file system has no hard links.
  if (errno != EPERM && errno != ENOSYS && errno != EOPNOTSUPP) {
    return errno;
  }
  return Exists(folder, to) ? EEXIST : Rename(folder, from, to);
}

}  // namespace

TemporaryName::TemporaryName(int folder, std::string_view target)
    : m_folder(folder), m_name(NameFor(target)), m_slot(kNoSlot) {}

TemporaryName::~TemporaryName() {
  if (m_isCreated) {
    unlinkat(m_folder, m_name.c_str(), 0);
  }
  if (m_slot != kNoSlot) {
    slots[m_slot].state = SlotState::free;
  }
}

int TemporaryName::Create(mode_t permissions) {
  int descriptor = -1;
  int error = 0;
  {
    const SignalsBlocked blocked;
    m_slot = ClaimSlot(m_name);
    // When the process is ending, the handler may still be reading the name that was here before.
    if (!isEnding) {
      if (m_slot != kNoSlot) {
        slots[m_slot].folder = m_folder;
        std::memcpy(slots[m_slot].name.data(), m_name.c_str(), m_name.size() + 1);
      }
      constexpr int kFlags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC;
      descriptor = RetryInterrupted([&] { return openat(m_folder, m_name.c_str(), kFlags, permissions); });
      error = errno;
    }
    m_isCreated = descriptor != -1;
    if (m_slot != kNoSlot) {
      slots[m_slot].state = m_isCreated ? SlotState::guarded : SlotState::free;
      m_slot = m_isCreated ? m_slot : kNoSlot;
    }
  }
  // With signals unblocked again: the thread waits here while another one ends the process.
  StayIfEnding();
  errno = error;
  return descriptor;
}

int TemporaryName::CheckIdentity(int descriptor) const {
  struct stat named {};
  struct stat open {};
  if (fstatat(m_folder, m_name.c_str(), &named, AT_SYMLINK_NOFOLLOW) != 0) {
    return errno == ENOENT ? ESTALE : errno;
  }
  if (fstat(descriptor, &open) != 0) {
    return errno;
  }
  return named.st_dev == open.st_dev && named.st_ino == open.st_ino ? 0 : ESTALE;
}

int TemporaryName::MoveTo(int descriptor, const std::string& name, bool replaceExisting) {
  // Another program that may write to the folder can have replaced the file.
  int error = CheckIdentity(descriptor);
  if (error == 0) {
    error = replaceExisting ? Rename(m_folder, m_name.c_str(), name.c_str())
                            : MoveWithoutReplacing(m_folder, m_name.c_str(), name.c_str());
  }
  // After a success the name is gone. A file of another program under this name is not removed.
  m_isCreated = error != 0 && error != ESTALE;
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
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    struct sigaction previous {};
    // Handlers that exist stay: sanitizers have their own for crashes.
    if (EndsProcess(signal) && sigaction(signal, nullptr, &previous) == 0 && previous.sa_handler == SIG_DFL) {
      sigaction(signal, &end, nullptr);
    }
  }
}
