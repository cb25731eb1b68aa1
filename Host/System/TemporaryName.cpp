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

// The signal handler reads the slots. A thread blocks its signals while it creates a file, so that the handler runs on
// another thread and can wait until the file exists.
enum class SlotState { free, creating, guarded };
struct Slot {
  std::atomic<SlotState> state{SlotState::free};
  int folder = -1;
  std::array<char, 256> name{};
};
static_assert(std::atomic<SlotState>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

std::array<Slot, 256> slots;
constexpr std::size_t kNoSlot = slots.size();
std::atomic<bool> isEnding{false};

// Blocks this thread for good once another one has begun to end the process.
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

void RemoveAllFiles() {
  isEnding = true;
  for (const Slot& slot : slots) {
    while (slot.state == SlotState::creating) {
      const timespec shortly{0, 100'000};
      nanosleep(&shortly, nullptr);
    }
    if (slot.state == SlotState::guarded) {
      unlinkat(slot.folder, slot.name.data(), 0);
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

std::string NameFor(std::string_view target) {
  constexpr std::size_t kLongestPart = 200;  // of the 255 bytes that a name may have
  // std::random_device asks the processor what it can, which takes a twentieth of the time of a file in a batch.
  std::uint64_t number = 0;
  if (getentropy(&number, sizeof number) != 0) {
    throw SystemFailure(std::string(target), "choose a name for its temporary file", errno);
  }
  return fmt::format(".{}.rhohost-{:016x}.tmp", CutToBytes(target, kLongestPart), number);
}

bool Exists(int folder, const char* name) {
  struct stat status {};
  return fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0 || errno != ENOENT;
}

int Rename(int folder, const char* from, const char* to) { return renameat(folder, from, folder, to) == 0 ? 0 : errno; }

// Some file systems cannot rename without replacing. A hard link does the same; the owner of the name `from` removes
// that name.
int MoveWithoutReplacing(int folder, const char* from, const char* to) {
  if (renameat2(folder, from, folder, to, RENAME_NOREPLACE) == 0) {
    return 0;
  }
  if (errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP) {
    return errno;
  }
  if (linkat(folder, from, folder, to, 0) == 0) {
    return 0;
  }
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
  m_isCreated = error != ESTALE;
  if (error == 0) {
    error = replaceExisting ? Rename(m_folder, m_name.c_str(), name.c_str())
                            : MoveWithoutReplacing(m_folder, m_name.c_str(), name.c_str());
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
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    struct sigaction previous {};
    // Sanitizers have handlers for crashes.
    if (EndsProcess(signal) && sigaction(signal, nullptr, &previous) == 0 && previous.sa_handler == SIG_DFL) {
      sigaction(signal, &end, nullptr);
    }
  }
}
