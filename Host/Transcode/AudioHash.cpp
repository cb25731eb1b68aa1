#include "Host/Transcode/AudioHash.h"

#define XXH_INLINE_ALL  // a library less to load
#include <xxhash.h>

struct AudioHash::State {
  XXH3_state_t state;
};

AudioHash::AudioHash() : m_state(std::make_unique<State>()) { XXH3_64bits_reset(&m_state->state); }

AudioHash::~AudioHash() = default;

void AudioHash::Add(std::span<const unsigned char> bytes) {
  XXH3_64bits_update(&m_state->state, bytes.data(), bytes.size());
}

std::uint64_t AudioHash::Value() const { return XXH3_64bits_digest(&m_state->state); }
