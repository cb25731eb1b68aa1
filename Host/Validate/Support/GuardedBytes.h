#pragma once

/// Read-only bytes between two pages that fault on any access.

#include <cstddef>
#include <functional>
#include <span>
#include <string>

class GuardedBytes {
 public:
  /// Which of the two pages they are next to.
  enum class Edge { kFront, kBack };

  /// A copy of the bytes, possibly none. Throws CheckSkipped when there is no memory for it.
  GuardedBytes(std::span<const unsigned char> bytes, Edge edge);
  GuardedBytes(const GuardedBytes&) = delete;
  GuardedBytes& operator=(const GuardedBytes&) = delete;
  ~GuardedBytes();

  std::span<const unsigned char> Get() const { return m_bytes; }

  /// Calls `use` and returns its first forbidden access: "access to byte 1 after the last one". Empty when there is
  /// none. After one, `use` has been left by a jump, and the objects that it used are no longer usable.
  std::string FirstFault(const std::function<void()>& use) const;

 private:
  unsigned char* m_mapping;
  std::size_t m_mappingSize;
  std::span<const unsigned char> m_bytes;
};
