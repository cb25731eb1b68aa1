#pragma once

/// Bytes that may be read and nothing else: they lie on read-only pages, between pages that may not be touched.

#include <cstddef>
#include <functional>
#include <span>
#include <string>

class GuardedBytes {
 public:
  /// Which guard page they border on.
  enum class Edge { kFront, kBack };

  /// A copy of the bytes, of which there may be none. Throws CheckSkipped when no memory can be had for it.
  GuardedBytes(std::span<const unsigned char> bytes, Edge edge);
  GuardedBytes(const GuardedBytes&) = delete;
  GuardedBytes& operator=(const GuardedBytes&) = delete;
  ~GuardedBytes();

  std::span<const unsigned char> Get() const { return m_bytes; }

  /// Calls `use`, and says what it did to these bytes that it must not do: "byte 1 behind their end touched". Empty
  /// when it did nothing of the kind. Where it did, it has been left in the middle, and nothing that it used is fit for
  /// anything any more.
  std::string WhatIsDoneWrong(const std::function<void()>& use) const;

 private:
  unsigned char* m_mapping;
  std::size_t m_mappingSize;
  std::span<const unsigned char> m_bytes;
};
