#pragma once

/// Reads an OutputFile back from front to back, in chunks that two threads read at the same time: the caller's own and
/// a helper. Where the caller works on the bytes, the helper reads ahead; where the caller would wait for a chunk, it
/// reads another one. Verifying ten minutes of WAV takes 25 ms instead of 45.
///
///     ReadBack bytes(file, true);
///     for (auto chunk = bytes.From(0); !chunk.empty(); chunk = bytes.From(position)) { ... }

#include "Host/System/OutputFile.h"

#include <array>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <span>
#include <thread>

class ReadBack {
 public:
  /// `file` must be in sync and outlive the object. With `hasHelper`, the helper starts when the caller asks for a
  /// second chunk; where the system has no thread left, the caller reads alone. Memory: eight chunks of 128 KiB.
  ReadBack(const OutputFile& file, bool hasHelper) : m_file(file), m_mayStart(hasHelper) {}
  ReadBack(const ReadBack&) = delete;
  ReadBack& operator=(const ReadBack&) = delete;
  ~ReadBack();

  /// Returns the bytes from `position` to the end of the chunk that holds it, or of the file; none from the end of the
  /// file on. They are valid until the next call, even if that throws. Any position is allowed; one that lies neither
  /// in the chunk of the previous call nor in the next chunk discards what has been read ahead. Throws Failure when the
  /// chunk cannot be read.
  std::span<const unsigned char> From(std::uint64_t position);

 private:
  struct Slot {
    std::unique_ptr<unsigned char[]> bytes;
    std::size_t size = 0;
    bool isFilled = false;
    std::exception_ptr failure;
  };

  void MoveTo(std::uint64_t chunk, std::unique_lock<std::mutex>& lock);
  void ReadNext(std::unique_lock<std::mutex>& lock);
  void Help();

  const OutputFile& m_file;
  bool m_mayStart;
  std::mutex m_mutex;  ///< guards all that follows but the thread
  std::condition_variable m_changed;
  std::array<Slot, 8> m_slots;   ///< of the current chunk and those that follow, by their numbers
  std::uint64_t m_current = 0;   ///< number of the caller's chunk
  std::uint64_t m_next = 0;      ///< number of the next chunk to be read by either thread
  unsigned int m_beingRead = 0;  ///< chunks
  bool m_isHelperIdle = false;
  bool m_isStopped = false;
  std::thread m_helper;
};
