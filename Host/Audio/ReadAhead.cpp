#include "Host/Audio/ReadAhead.h"

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

SampleBlock ReadAhead::Read(SampleMemory& memory) {
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
    return m_source->Read(memory);
  }
  std::unique_lock lock(m_mutex);
  if (m_filled == m_taken) {
    m_changed.wait(lock, [this] { return m_filled - m_taken >= kFewSlots || m_isComplete; });
  }
  Slot& slot = m_slots[m_taken % m_slots.size()];
  const SampleBlock block = slot.block;
  m_isAtEnd = block.frames == 0;
  // The memory goes to the reader, which leaves the memory of its previous block to the slot.
  std::swap(memory, slot.memory);
  // The thread waits until kFewSlots are left; m_taken grows by one, so the number meets that value exactly.
  if (m_filled - ++m_taken == kFewSlots) {
    m_changed.notify_one();
  }
  lock.unlock();
  if (m_isAtEnd) {
    m_thread.join();  // the notes are complete
    if (slot.failure) {
      std::rethrow_exception(slot.failure);
    }
  }
  return block;
}

/// The work of the thread: fills slots until the sound ends or fails, or the object is destroyed.
void ReadAhead::ReadSource() {
  for (bool isLast = false; !isLast;) {
    std::unique_lock lock(m_mutex);
    // Both threads are woken for several slots at a time: a switch of threads costs as much as a block.
    if (m_filled - m_taken == m_slots.size()) {
      m_changed.wait(lock, [this] { return m_isStopped || m_filled - m_taken <= kFewSlots; });
    }
    if (m_isStopped) {
      return;
    }
    Slot& slot = m_slots[m_filled % m_slots.size()];
    lock.unlock();
    slot.block = {};
    try {
      slot.block = m_source->Read(slot.memory);
    } catch (...) {
      // This is the last slot: Read() throws the failure in its place.
      slot.failure = std::current_exception();
    }
    isLast = slot.block.frames == 0;
    lock.lock();
    m_isComplete = isLast;
    if (++m_filled - m_taken == kFewSlots || isLast) {
      m_changed.notify_one();
    }
  }
}
