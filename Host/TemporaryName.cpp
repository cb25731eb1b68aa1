#include "Host/TemporaryName.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstring>
#include <random>

#include <unistd.h>

namespace {

// What the signal handler reads. A slot's path is written while it is claimed and read only while it is guarded.
enum class SlotState { free, claimed, guarded };
struct Slot {
  std::atomic<SlotState> state{SlotState::free};
  std::array<char, 4096> path{};
};
static_assert(std::atomic<SlotState>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

std::array<Slot, 64> slots;
constexpr std::size_t kNoSlot = slots.size();
std::atomic<bool> ending{false};

// Keeps a thread from making files, and from changing a path under the handler's eyes, once another one has begun to
// end the process.
void StayIfEnding() {
  while (ending) {
    pause();
  }
}

std::size_t Guard(const std::string& path) {
  if (path.size() >= slots.front().path.size()) {
    return kNoSlot;
  }
  for (std::size_t index = 0; index < slots.size(); ++index) {
    Slot& slot = slots[index];
    SlotState expected = SlotState::free;
    if (slot.state.compare_exchange_strong(expected, SlotState::claimed)) {
      StayIfEnding();
      std::memcpy(slot.path.data(), path.c_str(), path.size() + 1);
      slot.state = SlotState::guarded;
      StayIfEnding();
      return index;
    }
  }
  return kNoSlot;
}

extern "C" void RemoveFilesAndEnd(int signal) {
  ending = true;
  for (const Slot& slot : slots) {
    if (slot.state == SlotState::guarded) {
      unlink(slot.path.data());
    }
  }
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

}  // namespace

TemporaryName::TemporaryName(std::string_view target) : m_path(NameBeside(target)), m_slot(Guard(m_path)) {}

TemporaryName::~TemporaryName() {
  unlink(m_path.c_str());
  if (m_slot != kNoSlot) {
    slots[m_slot].state = SlotState::free;
  }
}

void RemoveTemporaryFilesOnSignals() {
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  for (const int signal : {SIGPIPE, SIGXFSZ}) {
    sigaction(signal, &ignore, nullptr);
  }
  struct sigaction end {};
  end.sa_handler = RemoveFilesAndEnd;
  sigfillset(&end.sa_mask);
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
    struct sigaction previous {};
    if (sigaction(signal, nullptr, &previous) == 0 && previous.sa_handler != SIG_IGN) {
      sigaction(signal, &end, nullptr);
    }
  }
}
