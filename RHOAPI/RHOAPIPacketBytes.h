#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <utility>

/// An owned run of bytes whose length is chosen when it is made: a packet's payload or descriptor. Unlike a vector it
/// can be made without writing the bytes first, so that filling a payload touches its memory once.
class PacketBytes {
 public:
  /// No bytes; data() is null.
  PacketBytes() = default;
  PacketBytes(PacketBytes&& other) noexcept
      : m_bytes(std::move(other.m_bytes)), m_size(std::exchange(other.m_size, 0)) {}
  PacketBytes& operator=(PacketBytes&& other) noexcept {
    m_bytes = std::move(other.m_bytes);
    m_size = std::exchange(other.m_size, 0);
    return *this;
  }

  /// `size` bytes of undefined content. Throws std::bad_alloc.
  explicit PacketBytes(std::size_t size)
      : m_bytes(size == 0 ? nullptr : std::make_unique_for_overwrite<unsigned char[]>(size)), m_size(size) {}

  /// A copy of the `size` bytes at `source`; no bytes when it is null. Throws std::bad_alloc.
  PacketBytes(const void* source, std::size_t size) : PacketBytes(source == nullptr ? 0 : size) {
    if (m_size != 0) {
      std::memcpy(m_bytes.get(), source, m_size);
    }
  }

  /// The characters of `text` up to its terminating NUL; no bytes when it is null. Throws std::bad_alloc.
  static PacketBytes fromText(const char* text) {
    return text == nullptr ? PacketBytes() : PacketBytes(text, std::strlen(text));
  }

  /// Drops all but the first `size` bytes, if there are more. The memory stays.
  void truncate(std::size_t size) {
    if (size < m_size) {
      m_size = size;
    }
  }

  unsigned char* data() { return m_bytes.get(); }
  const unsigned char* data() const { return m_bytes.get(); }
  std::size_t size() const { return m_size; }
  bool empty() const { return m_size == 0; }

 private:
  std::unique_ptr<unsigned char[]> m_bytes;
  std::size_t m_size = 0;
};
