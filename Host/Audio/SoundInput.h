#pragma once

/// The input side of the host: a sound file, or a sound that comes through a pipe, read from its start to its end in
/// the representation that loses nothing. Decoding is libsndfile's; this class adds what it leaves to its callers: a
/// file that is shorter than its header promises is noticed, pipes work, channels come in one order, and every fault
/// has a text that names the file.
///
///     SoundInput input(path, Truncation::kRefused);
///     for (SampleBlock block = input.Read(); block.frames != 0; block = input.Read()) { ... }

#include "Host/Audio/SoundTags.h"
#include "Host/Encode/SoundFormat.h"
#include "Host/Text/Errors.h"

#include <memory>
#include <string>

/// What becomes of a sound that ends before its header says. WAV, RF64, W64, AIFF, CAF, AU, FLAC and MP3 with a Xing
/// header say so; Ogg, MP3 without one and whatever leaves its size open do not.
enum class Truncation {
  kRefused,  ///< a Failure that says how much is missing
  kAllowed,  ///< what is there is read; MissingText() tells the rest
};

/// The Failure of a file that is in no format of sound, or is empty: there is nothing wrong with it, but it is none.
class NoSoundFile : public Failure {
 public:
  using Failure::Failure;
};

/// Any number of objects may be used at a time, each by one thread.
class SoundInput {
 public:
  /// Opens the file at `path` (any bytes), or standard input for "-", which is touched in no other case. A regular file
  /// is read as such even on standard input; pipes, FIFOs, sockets and devices are read as a stream. Streams may be WAV
  /// in all its forms, AU, AIFF, CAF, W64 or FLAC. Nothing but the header is read yet.
  ///
  /// Throws NoSoundFile; Failure: no such file, a folder, a stream in a format that needs a file, a regular file
  /// that is shorter than its header says (unless allowed); WrongUse: standard input is a terminal.
  SoundInput(const std::string& path, Truncation truncation);
  ~SoundInput();

  SoundInput(const SoundInput&) = delete;
  SoundInput& operator=(const SoundInput&) = delete;

  /// What the file says of itself. No frames at all is a legal sound. With a truncation allowed, the number of frames
  /// is that of the regular file as it is.
  const SoundFormat& Format() const;

  const SoundTags& Tags() const;

  /// The next sample frames, some 64 KiB of them; none at the end, then and ever after. Channels come in the order of
  /// WAV and Matroska (front left, front right, center, LFE, back left ...) where the file says which is which,
  /// otherwise as they lie in the file. The samples are valid until the next call and may be overwritten by the caller.
  ///
  /// Throws Failure for a read error, damaged data, or an end before the promised one (unless allowed).
  SampleBlock Read();

  /// Empty as long as nothing was missed; else what a truncation that was allowed took away, as in "the file promises
  /// 44100 sample frames, 100 are missing". Final when Read() has come to the end.
  const std::string& MissingText() const;

 private:
  class Decoder;
  std::unique_ptr<Decoder> m_decoder;
};
