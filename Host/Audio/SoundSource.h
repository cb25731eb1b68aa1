#pragma once

/// Where the samples of an encoding come from: a sound file, a pipe, or a built-in signal.
///
///     SampleMemory memory;
///     for (SampleBlock block = source.Read(memory); block.frames != 0; block = source.Read(memory)) { ... }

#include "Host/Audio/Metadata/SoundMetadata.h"
#include "Host/Encode/SoundFormat.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

/// Memory for the samples of one block.
class SampleMemory {
 public:
  /// Returns the memory, enlarged to at least `bytes` bytes, and aligned for every type of sample. Its content stays;
  /// where it is enlarged, earlier pointers become invalid.
  unsigned char* Reserve(std::size_t bytes) {
    m_bytes.resize(std::max(m_bytes.size(), bytes));
    return m_bytes.data();
  }

 private:
  std::vector<unsigned char> m_bytes;  ///< on the heap, which aligns it
};

/// Objects may be used by one thread at a time.
class SoundSource {
 public:
  SoundSource() = default;
  SoundSource(const SoundSource&) = delete;
  SoundSource& operator=(const SoundSource&) = delete;
  virtual ~SoundSource() = default;

  /// The format of the samples that Read() returns. It never changes.
  virtual const SoundFormat& Format() const = 0;

  /// Tags, chapters and attachments; empty where they were not asked for.
  virtual const SoundMetadata& Metadata() const = 0;

  /// Returns the next sample frames, about 64 KiB of them; no frames at the end of the sound, then and ever after. The
  /// samples lie in `memory` and are valid until it is passed to Read() again; the caller may overwrite them. Pass the
  /// same memory to each call: it is used again.
  ///
  /// Throws Failure for a read error, damaged data, or a sound that ends too early.
  virtual SampleBlock Read(SampleMemory& memory) = 0;

  /// What a user should be told about the samples: what is missing, what was changed. Each note is a clause without a
  /// full stop, as in "the header states 44100 sample frames, 100 are missing". Complete once Read() returned no
  /// frames.
  virtual std::vector<std::string> Notes() const = 0;
};
