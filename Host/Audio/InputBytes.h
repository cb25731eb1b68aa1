#pragma once

/// The bytes of the input at any position, from a file or from a pipe.
///
/// A file is read where asked. A stream can only be read forward, but decoders read parts of a file's beginning in any
/// order before they read it from front to back. The first megabytes of a stream are therefore kept, and can be read in
/// any order, while a decoder opens it. Bytes far ahead of them count as lying beyond the end, so that no decoder waits
/// for the end of a stream in order to look for chunks there.

#include "Toolbox/KelUtils/Files/Internal/Descriptor.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

class InputBytes {
 public:
  /// Bytes of a stream's beginning that are kept at most.
  static constexpr std::size_t kMostKept = std::size_t{4} << 20;

  /// The length that a stream is said to have, small enough for sums with it to fit 64 signed bits.
  static constexpr std::uint64_t kEndless = std::uint64_t{1} << 61;

  /// Opens `path`, or standard input for "-". Throws Failure: it cannot be opened or is a folder; WrongUse: standard
  /// input is a terminal.
  explicit InputBytes(const std::string& path);

  /// Reads the next bytes: fewer than `size` only at the end. May throw.
  using ReadMore = std::function<std::size_t(unsigned char* to, std::size_t size)>;

  /// A stream of the bytes that `readMore` reads. `name` is for messages.
  InputBytes(std::string name, ReadMore readMore);

  InputBytes(const InputBytes&) = delete;
  InputBytes& operator=(const InputBytes&) = delete;

  /// The name for messages: the path, or "standard input".
  const std::string& Name() const { return m_name; }

  /// False only for a regular file that can be read from its first byte.
  bool IsStream() const { return m_isStream; }

  /// Length in bytes; kEndless for a stream.
  std::uint64_t Length() const { return m_length; }

  /// Sets the end to `length` bytes if that is less than now: nothing beyond it is read.
  void EndAt(std::uint64_t length) { m_length = std::min(m_length, length); }

  /// Makes Length() return `length`, which is more than the file has: reads then end early, as in a truncated stream.
  void Lengthen(std::uint64_t length) {
    m_present = m_length;
    m_length = length;
  }

  /// Reads up to `wanted` bytes at `position` and returns their number: fewer only at the end. Throws Failure for a
  /// system error, a file that has become shorter, and a position that a stream has passed.
  std::size_t ReadAt(std::uint64_t position, void* to, std::size_t wanted);

  /// True when the last read was short because the bytes ended.
  bool CameShort() const { return m_cameShort; }

  /// True once a stream has ended before Length(), and for a file that has been lengthened.
  bool EndedEarly() const { return m_present ? *m_present < m_length : m_sawEnd && m_streamPosition < m_length; }

  /// The number of bytes that there are; of a stream, those read so far.
  std::uint64_t PresentLength() const { return m_isStream ? m_streamPosition : m_present.value_or(m_length); }

  /// Replaces the first `replaced` bytes, by `head`. Positions and length then refer to the new beginning.
  /// Throws Failure if there are fewer bytes, or a stream no longer keeps them.
  void ReplaceHead(std::vector<unsigned char> head, std::uint64_t replaced);

  /// Stops keeping a stream's beginning: from here on it is read from front to back.
  void StopKeeping() { m_keeping = false; }

 private:
  std::size_t ReadFile(std::uint64_t position, unsigned char* to, std::size_t size);
  std::size_t CopyBeginning(std::size_t filePosition, unsigned char* to, std::size_t size);
  std::size_t ReadStream(std::uint64_t position, unsigned char* to, std::size_t size);
  void KeepUpTo(std::uint64_t position);
  std::size_t ReadFully(std::uint64_t filePosition, unsigned char* to, std::size_t size);

  std::string m_name;
  Descriptor m_descriptor;
  ReadMore m_readMore;  ///< instead of the descriptor
  bool m_isStream = false;
  bool m_keeping = true;
  bool m_cameShort = false;
  bool m_sawEnd = false;  ///< streams: the descriptor came to its end
  std::uint64_t m_length = 0;
  std::optional<std::uint64_t> m_present;  ///< lengthened files: their real length
  std::vector<unsigned char> m_head;       ///< bytes from position 0 on: a replaced beginning, a stream's kept one
  std::vector<unsigned char> m_beginning;  ///< files: the first bytes as they lie there; empty until they are needed
  std::uint64_t m_headFileEnd = 0;         ///< files: where the bytes behind m_head begin in the file
  std::uint64_t m_streamPosition = 0;      ///< streams: position of the next byte that the descriptor gives
};
