#include "Host/System/ReadBack.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace {

/// Few enough bytes for eight chunks to stay in a processor's cache, enough to make the exchange cheap.
constexpr std::size_t kChunkBytes = 128 * std::size_t{1024};

}  // namespace

ReadBack::~ReadBack() {
  {
    const std::lock_guard lock(m_mutex);
    m_isStopped = true;
  }
  m_changed.notify_all();
  if (m_helper.joinable()) {
    m_helper.join();
  }
}

std::span<const unsigned char> ReadBack::From(std::uint64_t position) {
  const std::uint64_t chunk = position / kChunkBytes;
  std::unique_lock lock(m_mutex);
  if (chunk != m_current) {
    MoveTo(chunk, lock);
  }
  const Slot& slot = m_slots[chunk % m_slots.size()];
  while (!slot.isFilled) {
    if (m_next - m_current < m_slots.size()) {
      ReadNext(lock);
    } else {
      m_changed.wait(lock);
    }
  }
  if (slot.failure) {
    std::rethrow_exception(slot.failure);
  }
  const std::size_t skipped = std::min(static_cast<std::size_t>(position % kChunkBytes), slot.size);
  return {slot.bytes.get() + skipped, slot.size - skipped};
}

/// Makes `chunk` the current one. Frees the slot of the previous one, or all slots when the chunk is not the next.
void ReadBack::MoveTo(std::uint64_t chunk, std::unique_lock<std::mutex>& lock) {
  if (chunk == m_current + 1) {
    m_slots[m_current % m_slots.size()].isFilled = false;
  } else {
    m_changed.wait(lock, [this] { return m_beingRead == 0; });
    for (Slot& slot : m_slots) {
      slot.isFilled = false;
    }
    m_next = chunk;
  }
  m_current = chunk;
  if (std::exchange(m_mayStart, false)) {
    try {
      m_helper = std::thread([this] { Help(); });
    } catch (const std::system_error&) {
      // The caller reads all chunks.
    }
  }
  // Woken for several chunks: a switch of threads costs as much as reading one.
  if (m_isHelperIdle && m_next - m_current <= m_slots.size() / 2) {
    m_changed.notify_all();
  }
}

/// Reads the next chunk. Its slot must be free.
void ReadBack::ReadNext(std::unique_lock<std::mutex>& lock) {
  const std::uint64_t chunk = m_next++;
  Slot& slot = m_slots[chunk % m_slots.size()];
  ++m_beingRead;
  lock.unlock();
  try {
    if (slot.bytes == nullptr) {
      slot.bytes = std::make_unique_for_overwrite<unsigned char[]>(kChunkBytes);
    }
    slot.failure = nullptr;
    slot.size = m_file.ReadAt(chunk * kChunkBytes, slot.bytes.get(), kChunkBytes);
  } catch (...) {
    slot.failure = std::current_exception();
  }
  lock.lock();
  --m_beingRead;
  slot.isFilled = true;
}

/// The work of the helper.
void ReadBack::Help() {
  std::unique_lock lock(m_mutex);
  while (!m_isStopped) {
    if (m_next - m_current < m_slots.size()) {
      ReadNext(lock);
      m_changed.notify_all();
    } else {
      m_isHelperIdle = true;
      m_changed.wait(lock);
      m_isHelperIdle = false;
    }
  }
}
