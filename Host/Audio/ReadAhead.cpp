#include "Host/Audio/ReadAhead.h"

#include <cstring>
#include <system_error>
#include <utility>

ReadAhead::ReadAhead(std::unique_ptr<SoundSource> source) : m_source(std::move(source)) {}

ReadAhead::~ReadAhead() {
  {
    // Under the lock, so that the thread cannot miss it between its check and its wait.
    const std::lock_guard lock(m_mutex);
    m_isStopped = true;
  }
  m_changed.notify_all();
  if (m_thread.joinable()) {
    m_thread.join();
  }
}

SampleBlock ReadAhead::Read() {
  if (m_isAtEnd) {
    return {};
  }
  if (!m_thread.joinable() && !m_isDirect) {
    try {
      m_thread = std::thread([this] { ReadSource(); });
    } catch (const std::system_error&) {
      // The system has no more threads. Decoding on this one is slower, but gives the same samples.
      m_isDirect = true;
    }
  }
  if (m_isDirect) {
    return m_source->Read();
  }
  std::unique_lock lock(m_mutex);
  // The call gives back the slot that the previous one returned. The thread waits until kFewSlots are left; m_returned
  // grows by one, so the number meets that value exactly.
  if (std::exchange(m_isHeld, true) && m_filled - ++m_returned == kFewSlots) {
    m_changed.notify_one();
  }
  if (m_filled == m_returned) {
    m_changed.wait(lock, [this] { return m_filled - m_returned >= kFewSlots || m_isComplete; });
  }
  // The thread does not touch this slot before it is given back, so it can be read without the lock.
  const Slot& slot = m_slots[m_returned % m_slots.size()];
  lock.unlock();
  m_isAtEnd = slot.frames == 0;
  if (m_isAtEnd) {
    m_thread.join();  // the notes are complete
  }
  if (slot.failure) {
    std::rethrow_exception(slot.failure);
  }
  return {slot.samples.data(), slot.frames};
}

/// The work of the thread: fills slots until the sound ends or fails, or the object is destroyed.
void ReadAhead::ReadSource() {
  for (bool isLast = false; !isLast;) {
    std::unique_lock lock(m_mutex);
    // Both threads are woken for several slots at a time: a switch of threads costs as much as a block.
    if (m_filled - m_returned == m_slots.size()) {
      m_changed.wait(lock, [this] { return m_isStopped || m_filled - m_returned <= kFewSlots; });
    }
    if (m_isStopped) {
      return;
    }
    Slot& slot = m_slots[m_filled % m_slots.size()];
    lock.unlock();
    Fill(slot);
    isLast = slot.frames == 0;
    lock.lock();
    m_isComplete = isLast;
    if (++m_filled - m_returned == kFewSlots || isLast) {
      m_changed.notify_one();
    }
  }
}

/// Copies the source's next block into `slot`. A failure makes it the last slot: Read() throws it in its place.
void ReadAhead::Fill(Slot& slot) {
  slot.frames = 0;
  try {
    const SampleBlock block = m_source->Read();
    const std::size_t bytes = block.frames * Format().channels * SizeOf(Format().sampleType);
    slot.samples.resize((bytes + sizeof(std::max_align_t) - 1) / sizeof(std::max_align_t));
    if (bytes != 0) {
      std::memcpy(slot.samples.data(), block.samples, bytes);
    }
    slot.frames = block.frames;
  } catch (...) {
    slot.failure = std::current_exception();
  }
}
