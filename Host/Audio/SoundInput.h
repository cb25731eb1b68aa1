#pragma once

/// A sound file, or a sound that comes through a pipe, read from its start to its end in a representation that loses
/// nothing. libsndfile decodes. This class adds what libsndfile leaves to its callers: it notices a file that is shorter
/// than its header says, reads pipes, puts channels into one order, and names the file in every error.
///
///     SoundInput input(path, Truncation::kRefused);
///     for (SampleBlock block = input.Read(); block.frames != 0; block = input.Read()) { ... }

#include "Host/Audio/InputBytes.h"
#include "Host/Audio/SndfileIo.h"
#include "Host/Audio/SoundContainers.h"
#include "Host/Audio/SoundSource.h"
#include "Host/Text/Errors.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// What happens to a sound that ends before its header says. WAV, RF64, W64, AIFF, CAF, AU, FLAC and MP3 with a Xing
/// header state their length; Ogg, MP3 without that header and streams of open size do not.
enum class Truncation {
  kRefused,  ///< Failure that says how much is missing
  kAllowed,  ///< the sound is read as far as it goes; Notes() says how much is missing
};

/// The Failure of a file that is empty or in no known sound format.
class NotASoundFile : public Failure {
 public:
  using Failure::Failure;
};

/// Any number of objects may be used at a time, each by one thread.
class SoundInput : public SoundSource {
 public:
  /// Opens the file at `path` (any bytes), or standard input for "-"; standard input is untouched otherwise. A regular
  /// file is read as such even on standard input; pipes, FIFOs, sockets and devices are read as a stream. Streams may be
  /// WAV in all its forms, AU, AIFF, CAF, W64 or FLAC. Only the header is read yet.
  ///
  /// Throws NotASoundFile; Failure: no such file, a folder, a stream in a format that needs a file, a regular file
  /// that is shorter than its header says (unless allowed); WrongUse: standard input is a terminal.
  SoundInput(const std::string& path, Truncation truncation);

  /// What the file says of itself. No frames at all is a legal sound. With a truncation allowed, the number of frames
  /// is that of the regular file as it is.
  const SoundFormat& Format() const override { return m_format; }

  const SoundTags& Tags() const override { return m_tags; }

  /// Channels come in the order of WAV and Matroska (front left, front right, center, LFE, back left ...) where the
  /// file says which is which, otherwise as they lie in the file.
  ///
  /// Throws Failure for a read error, damaged data, or an end before the promised one (unless allowed).
  SampleBlock Read() override;

  /// Says how much is missing where a truncation was allowed, and that channels were reordered.
  std::vector<std::string> Notes() const override;

 private:
  void PrepareBytes();
  void Open();
  void ReadFormat(const SF_INFO& info);
  void AllocateBlock();
  sf_count_t ReadSamples(sf_count_t frames);
  void HandleShortRead(bool isLast);
  void NoteMissing(std::string text);

  InputBytes m_bytes;
  Truncation m_truncation;
  SndfileIo m_io;
  std::optional<SampleData> m_data;
  SoundFile m_file;
  SoundFormat m_format;
  SoundTags m_tags;
  std::string m_missing;             ///< empty as long as nothing is missing
  std::vector<std::size_t> m_order;  ///< empty when the channels lie in order
  std::vector<double> m_block;       ///< doubles, so that it is aligned for every sample type
  std::size_t m_blockFrames = 0;
  std::uint64_t m_framesRead = 0;
};
