#pragma once

/// Opens sound files, and sounds that come through a pipe.
///
///     const std::unique_ptr<SoundSource> sound = OpenSound(path, Truncation::kRefused);
///     SampleMemory memory;
///     for (SampleBlock block = sound->Read(memory); block.frames != 0; block = sound->Read(memory)) { ... }

#include "Host/Audio/RawFormat.h"
#include "Host/Audio/SoundSource.h"
#include "Host/Audio/Truncation.h"
#include "Host/Text/Errors.h"

#include <memory>
#include <optional>
#include <string>

/// Whether a sound's tags, chapters and attachments are wanted. Reading them takes time.
enum class MetadataUse { kIgnored, kRead };

/// The Failure of a file that is empty or in no known sound format.
class NotASoundFile : public Failure {
 public:
  using Failure::Failure;
};

/// Opens the file at `path` (any bytes), or standard input for "-"; standard input is untouched otherwise. A regular
/// file is read as such even on standard input; pipes, FIFOs, sockets and devices are read as a stream. Streams may be
/// WAV, RF64, W64, AIFF, CAF, AU, FLAC (native or Ogg) or MP3; compressed samples in the first six need a header that
/// states their length. Reads only the header.
///
/// The samples come in a representation that loses nothing, their channels in the order of WAV and Matroska (front
/// left, front right, center, LFE, back left ...) where the file says which is which, otherwise as they lie in the
/// file. A sound may have no frames at all. With a truncation allowed, Format().frames is that of the regular file as
/// it is.
///
/// With `raw` the whole input is samples of that format; one that ends within a sample frame is truncated.
///
/// Throws NotASoundFile; Failure: no such file, a folder, a stream in a format that needs a file, a regular file that
/// is shorter than its header says (unless allowed); WrongUse: standard input is a terminal. Read() throws Failure for
/// damaged data and an end before the stated one; the sources' classes say which damage Truncation::kAllowed admits.
std::unique_ptr<SoundSource> OpenSound(const std::string& path, Truncation truncation,
                                       MetadataUse metadataUse = MetadataUse::kIgnored,
                                       const std::optional<RawFormat>& raw = std::nullopt);
