#pragma once

/// Where the samples of an encoding come from: a sound file, a pipe, or a built-in signal.
///
///     for (SampleBlock block = source.Read(); block.frames != 0; block = source.Read()) { ... }

#include "Host/Audio/Metadata/SoundMetadata.h"
#include "Host/Encode/SoundFormat.h"

#include <string>
#include <vector>

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

  /// Whether Read() decodes, rather than only reads and converts.
  virtual bool IsDecoding() const { return true; }

  /// Returns the next sample frames, about 64 KiB of them; no frames at the end of the sound, then and ever after. The
  /// samples are valid until the next call, and the caller may overwrite them.
  ///
  /// Throws Failure for a read error, damaged data, or a sound that ends too early.
  virtual SampleBlock Read() = 0;

  /// What a user should be told about the samples: what is missing, what was changed. Each note is a clause without a
  /// full stop, as in "the header states 44100 sample frames, 100 are missing". Complete once Read() returned no
  /// frames.
  virtual std::vector<std::string> Notes() const = 0;
};
