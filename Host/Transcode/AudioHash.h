#pragma once

#include <cstdint>
#include <memory>
#include <span>

/// XXH3 (64 bits) of bytes that come in pieces: what "xxhsum -H3" prints for all of them.
class AudioHash {
 public:
  AudioHash();
  ~AudioHash();
  AudioHash(const AudioHash&) = delete;
  AudioHash& operator=(const AudioHash&) = delete;

  void Add(std::span<const unsigned char> bytes);
  std::uint64_t Value() const;

 private:
  struct State;
  std::unique_ptr<State> m_state;
};
