#pragma once

/// The bytes of the input as a decoder wants them, at any position, whether they lie in a file or come through a pipe.
///
/// A file is simply read where asked. A stream can only go forward; but decoders look around in the beginning of a file
/// before they settle down to read it from front to back. So the first megabytes of a stream are kept while a decoder
/// opens it and can be read in any order; what is asked for far ahead of them counts as lying behind the end, so that
/// nobody waits for the end of a stream to look for chunks there.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

class InputBytes {
 public:
  /// The length that a stream is said to have, small enough for sums with it to fit 64 signed bits.
  static constexpr std::uint64_t kEndless = std::uint64_t{1} << 61;

  /// Opens `path`, or standard input for "-". Throws Failure: it cannot be opened or is a folder; WrongUse: standard
  /// input is a terminal.
  explicit InputBytes(const std::string& path);
  ~InputBytes();

  InputBytes(const InputBytes&) = delete;
  InputBytes& operator=(const InputBytes&) = delete;

  /// How messages name it: the path, or "standard input".
  const std::string& Name() const { return m_name; }

  /// True for whatever is not a regular file that can be read from its first byte.
  bool IsStream() const { return m_isStream; }

  /// Length in bytes; kEndless for a stream.
  std::uint64_t Length() const { return m_length; }

  /// Makes `length` the end, where it lies before the present one: nothing behind it is read.
  void EndAt(std::uint64_t length) { m_length = std::min(m_length, length); }

  /// Reads up to `wanted` bytes at `position` and returns how many there are: fewer only at the end. Throws Failure for
  /// an error of the system, a file that does not reach as far as it did, and a position that a stream has passed.
  std::size_t ReadAt(std::uint64_t position, void* to, std::size_t wanted);

  /// True when the last read came short because the bytes were at an end.
  bool CameShort() const { return m_cameShort; }

  /// Puts `head` in the place of the first `replaced` bytes, which must exist and, in a stream, still be kept.
  /// Positions and length then follow the new beginning.
  void ReplaceHead(std::vector<unsigned char> head, std::uint64_t replaced);

  /// Ends the keeping of a stream's beginning: from here on it is read from front to back.
  void StopKeeping() { m_keeping = false; }

 private:
  std::size_t ReadFile(std::uint64_t position, unsigned char* to, std::size_t size);
  std::size_t ReadStream(std::uint64_t position, unsigned char* to, std::size_t size);
  void KeepUpTo(std::uint64_t position);
  std::size_t ReadFully(std::uint64_t filePosition, unsigned char* to, std::size_t size);

  std::string m_name;
  int m_descriptor = -1;
  bool m_isStream = false;
  bool m_keeping = true;
  bool m_cameShort = false;
  std::uint64_t m_length = 0;
  std::vector<unsigned char> m_head;   ///< bytes from position 0 on: a replaced beginning, a stream's kept one
  std::uint64_t m_headFileEnd = 0;     ///< files: where the bytes behind m_head begin in the file
  std::uint64_t m_streamPosition = 0;  ///< streams: position of the next byte that the descriptor gives
};
