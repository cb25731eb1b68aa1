#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

/// Owns an open file descriptor and closes it; -1 stands for none.
class Descriptor {
 public:
  explicit Descriptor(int descriptor = -1) : m_descriptor(descriptor) {}
  Descriptor(Descriptor&& other) noexcept : m_descriptor(other.Release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(m_descriptor, other.m_descriptor);
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { Close(); }

  int Get() const { return m_descriptor; }
  bool IsOpen() const { return m_descriptor != -1; }

  /// Returns the descriptor, which the caller then owns.
  int Release() { return std::exchange(m_descriptor, -1); }

  /// Closes the descriptor now. Returns 0, or the errno with which the system reports that written data may be lost.
  int Close() {
    // An interrupted close is not repeated: the number may already belong to another thread's file.
    return !IsOpen() || close(Release()) == 0 || errno == EINTR ? 0 : errno;
  }

 private:
  int m_descriptor;
};
