#pragma once

/// Writes one track of linear PCM as a Matroska file.
///
///   MatroskaWriter writer(file, {.sampleRate = 44100, .channels = 2, .bitsPerSample = 16,
///                                .sampleFramesPerPacket = 1470});
///   writer.WritePacket(payload, size, 0, 1470);      // ... in the order of time
///   writer.Finish();
///   file.Commit();
///
/// The same description and packets give the same bytes: no clock and no random identifier goes into the file.

#include "Host/Audio/SoundTags.h"
#include "Host/Encode/SoundFormat.h"
#include "Host/System/OutputFile.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

struct MatroskaDescription {
  unsigned int sampleRate = 0;     ///< sample frames per second, 1 to 10^9
  unsigned int channels = 0;       ///< interleaved, in the order of WAVE files; at least 1
  unsigned int bitsPerSample = 0;  ///< little-endian signed integers: 16, 24 or 32
  /// How many sample frames a packet holds as a rule, at least 1. Any packet may hold another number.
  unsigned int sampleFramesPerPacket = 0;
  /// The whole length where it is known beforehand. A stream, whose beginning cannot be written again, tells its
  /// duration only then.
  std::optional<std::uint64_t> sampleFrames;
  std::string application = "rhohost";  ///< the writing program, and its version if wanted
  SoundTags tags;                       ///< empty texts are left out
};

/// One block a packet, without lacing, in clusters of up to half a second. A packet of the usual length is a
/// SimpleBlock, any other a BlockGroup with its duration. A block's timestamp is its sample time by MatroskaClock.
///
/// Where the file is seekable it gets a SeekHead, a cue for each cluster, its exact duration, and all sizes; else it is
/// the kind of stream that can be read while it is written: sizes of segment and clusters unknown, no SeekHead, no
/// cues, and each cluster is flushed.
///
/// Failures of the file come through; after one the writer is only good for destruction. Memory: 16 bytes a cue, of
/// which 262,144 are kept at most: beyond that (36 hours at two a second) every second one is dropped, as often as
/// needed.
class MatroskaWriter {
 public:
  /// Writes all that stands before the first packet. `file` must be new, and outlive the writer. Throws Failure when
  /// the description is outside its bounds.
  MatroskaWriter(OutputFile& file, const MatroskaDescription& description);
  MatroskaWriter(const MatroskaWriter&) = delete;
  MatroskaWriter& operator=(const MatroskaWriter&) = delete;
  /// Writes nothing: without Finish the file is incomplete.
  ~MatroskaWriter();

  /// Writes one packet: `size` bytes, not needed afterwards, that begin `time` sample frames after the beginning and
  /// hold `sampleFrames` of them. A packet without bytes is left out. Throws Failure when the packet begins before the
  /// last one or has 2^31 - 16 bytes or more.
  void WritePacket(const unsigned char* bytes, std::size_t size, std::uint64_t time, std::uint64_t sampleFrames);

  /// Completes the file: cues, duration (the end of the last packet), sizes. Commit is left to the owner of the file.
  void Finish();

 private:
  class Muxer;
  std::unique_ptr<Muxer> m_muxer;
};
