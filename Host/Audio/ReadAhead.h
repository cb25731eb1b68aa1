#pragma once

/// A sound that is read and decoded on a thread of its own, some blocks ahead of its reader: reading and writing then
/// take as long as the slower of them, if there are two processors for them.
///
///     ReadAhead ahead(OpenSound("song.flac", Truncation::kRefused));
///     SampleMemory memory;
///     for (SampleBlock block = ahead.Read(memory); block.frames != 0; block = ahead.Read(memory)) { ... }

#include "Host/Audio/SoundSource.h"

#include <array>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class ReadAhead : public SoundSource {
 public:
  /// Reads nothing yet. The destructor waits until the source has returned a block that is being read: do not use it
  /// for pipes, which may never give one.
  explicit ReadAhead(std::unique_ptr<SoundSource> source);
  ~ReadAhead() override;

  const SoundFormat& Format() const override { return m_source->Format(); }
  const SoundMetadata& Metadata() const override { return m_source->Metadata(); }

  /// The first call starts the thread; where the system has no thread left, all calls read from the source themselves.
  /// Throws what the source threw, after the blocks before it. Exchanges the content of `memory` for another block's.
  SampleBlock Read(SampleMemory& memory) override;

  std::vector<std::string> Notes() const override { return m_source->Notes(); }

 private:
  struct Slot {
    SampleMemory memory;
    SampleBlock block;
    std::exception_ptr failure;
  };

  void ReadSource();

  std::unique_ptr<SoundSource> m_source;
  static constexpr std::size_t kFewSlots = 4;
  std::array<Slot, 2 * kFewSlots> m_slots;
  std::mutex m_mutex;  ///< guards m_filled to m_isStopped, which tell whose turn it is with a slot
  std::condition_variable m_changed;
  std::size_t m_filled = 0;   ///< slots that the thread has filled, in all
  std::size_t m_taken = 0;    ///< slots that the reader has taken, in all
  bool m_isComplete = false;  ///< the thread has filled the last slot
  bool m_isStopped = false;
  bool m_isDirect = false;  ///< there is no thread
  bool m_isAtEnd = false;
  std::thread m_thread;
};
