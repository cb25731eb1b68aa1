#pragma once

/// Bytes of a file for libraries that read metadata. No exception leaves Read, since the libraries could not handle
/// one, and a limit keeps damaged files from being read at length: beyond it, the file ends.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <string>
#include <utility>

class MetadataBytes {
 public:
  /// What metadata may have in all: pictures may be large.
  static constexpr std::uint64_t kLimit = 64 << 20;

  /// Reads like InputBytes::ReadAt.
  using ReadAt = std::function<std::size_t(std::uint64_t position, void* to, std::size_t size)>;

  MetadataBytes(std::string name, std::uint64_t length, ReadAt readAt)
      : m_name(std::move(name)), m_length(length), m_readAt(std::move(readAt)) {}
  MetadataBytes(const MetadataBytes&) = delete;
  MetadataBytes& operator=(const MetadataBytes&) = delete;

  const std::string& Name() const { return m_name; }
  std::uint64_t Length() const { return m_length; }
  std::uint64_t Position() const { return m_position; }
  void Seek(std::uint64_t position) { m_position = position; }

  /// Reads from the position on, which moves behind what was read. Fewer bytes than wanted at the end of the file or of
  /// the limit, and on errors.
  std::size_t Read(void* to, std::size_t size) noexcept {
    const std::uint64_t left = std::min(kLimit - m_total, m_length - std::min(m_position, m_length));
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(size, left));
    m_isOverLimit = m_isOverLimit || (wanted < size && kLimit - m_total == left);
    // A library may ask for no bytes, and name no place for them.
    if (wanted == 0) {
      return 0;
    }
    try {
      const std::size_t done = m_readAt(m_position, to, wanted);
      m_position += done;
      m_total += done;
      return done;
    } catch (...) {
      m_failure = std::current_exception();
      return 0;
    }
  }

  /// True after a read that met the limit: the bytes that were read are not all that there is.
  bool IsOverLimit() const { return m_isOverLimit; }

  /// Throws what the last failed read threw, if there was one: unlike damage, it is not the metadata's alone.
  void RethrowFailure() const {
    if (m_failure) {
      std::rethrow_exception(m_failure);
    }
  }

 private:
  std::string m_name;
  std::uint64_t m_length;
  ReadAt m_readAt;
  std::uint64_t m_position = 0;
  std::uint64_t m_total = 0;
  bool m_isOverLimit = false;
  std::exception_ptr m_failure;
};
