#pragma once

/// Writes tracks of linear PCM, all of one format and as a rule one track, as a Matroska file.
///
///   MatroskaWriter writer(file, {.sampleRate = 44100, .channels = 2, .bitsPerSample = 16,
///                                .sampleFramesPerPacket = 1470});
///   writer.WritePacket(payload, 0, 1470);            // ... in the order of time
///   writer.Finish();
///   file.Commit();
///
/// The same description and packets give the same bytes: the file contains no clock time and no random identifier.

#include "Host/Audio/Metadata/SoundMetadata.h"
#include "Host/Matroska/MatroskaClock.h"
#include "Host/Matroska/MatroskaElements.h"
#include "Host/Matroska/MatroskaIo.h"
#include "Host/System/OutputFile.h"

#include <ebml/EbmlVoid.h>
#include <matroska/KaxAttachments.h>
#include <matroska/KaxChapters.h>
#include <matroska/KaxCluster.h>
#include <matroska/KaxCues.h>
#include <matroska/KaxInfo.h>
#include <matroska/KaxSegment.h>
#include <matroska/KaxTags.h>
#include <matroska/KaxTracks.h>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

struct MatroskaDescription {
  unsigned int sampleRate = 0;     ///< sample frames per second, 1 to 10^9
  unsigned int channels = 0;       ///< interleaved, in the order of WAVE files; at least 1
  unsigned int bitsPerSample = 0;  ///< little-endian signed integers: 16, 24 or 32
  /// Sample frames in a packet of the usual length, at least 1. Packets of other lengths are allowed.
  unsigned int sampleFramesPerPacket = 0;
  /// Length of the whole, where it is known beforehand. A stream, whose beginning cannot be rewritten, states its
  /// duration only in that case.
  std::optional<std::uint64_t> sampleFrames;
  std::vector<std::string> trackNames{""};  ///< one for each track, at least one and at most 16,000; "" for none
  std::string application = "rhohost";      ///< the writing program, optionally with its version
  SoundMetadata metadata;
};

/// Writes one block per packet, without lacing, in clusters of up to half a second. A packet of the usual length
/// becomes a SimpleBlock, any other a BlockGroup with its duration. A block's timestamp is its sample time by
/// MatroskaClock.
///
/// A seekable file gets a SeekHead, a cue for each cluster, the exact duration and all sizes. Any other gets the form
/// that can be read while it is written: segment and clusters of unknown size, no SeekHead, no cues, and a flush after
/// each cluster.
///
/// Errors of the file pass through as Failure; afterwards the writer can only be destroyed. Memory: 16 bytes per cue,
/// at most 262,144 of them; when that many exist (after 36 hours at two a second), every second one is dropped.
class MatroskaWriter {
 public:
  /// Writes everything that precedes the first packet. `file` must be new and outlive the writer. Throws Failure when
  /// the description is out of bounds.
  MatroskaWriter(OutputFile& file, const MatroskaDescription& description);
  MatroskaWriter(const MatroskaWriter&) = delete;
  MatroskaWriter& operator=(const MatroskaWriter&) = delete;
  /// Writes nothing: without Finish the file is incomplete.
  ~MatroskaWriter() = default;

  /// Writes one packet of a track (counted from 0) that begins at sample frame `time` and holds `sampleFrames` of them.
  /// The bytes are not needed afterwards. An empty packet is omitted. Throws Failure when the packet begins before the
  /// previous one of any track or has 2^31 - 16 bytes or more.
  void WritePacket(std::span<const unsigned char> bytes, std::uint64_t time, std::uint64_t sampleFrames,
                   std::size_t track = 0);

  /// Completes the file: cues, duration (the end of the last packet), sizes. The caller commits the file.
  void Finish();

 private:
  struct Cue {
    std::uint64_t tick;
    std::uint64_t position;  ///< of the cluster, relative to the segment's content
  };

  std::uint64_t SimpleSampleFrames(std::uint64_t usual) const;
  void WriteEbmlHead();
  void WriteInfo(const MatroskaDescription& description);
  void WriteTracks(const MatroskaDescription& description);
  void WriteMetadata(const SoundMetadata& metadata);
  void WriteBlock(std::span<const unsigned char> bytes, std::uint64_t tick, std::uint64_t sampleFrames,
                  const libmatroska::KaxTrackEntry& track);
  void WriteSimpleBlock(std::span<const unsigned char> bytes, std::uint16_t ticksInCluster, unsigned char trackNumber);
  void BeginCluster(std::uint64_t tick);
  void EndCluster();
  void AddCue(const Cue& cue);
  void WriteCues();
  void WriteSeekHead();
  void WriteDuration();

  OutputFile& m_file;
  MatroskaOutput m_io;
  MatroskaClock m_clock;
  std::uint64_t m_clusterTicks;        ///< a cluster's length, at least
  std::uint64_t m_simpleSampleFrames;  ///< in a packet that becomes a SimpleBlock

  OpenMaster<libmatroska::KaxSegment> m_segment;
  libebml::EbmlVoid m_seekHeadSpace;
  libmatroska::KaxInfo m_info;
  libmatroska::KaxTracks m_tracks;
  std::vector<libmatroska::KaxTrackEntry*> m_trackEntries;  ///< in m_tracks
  libmatroska::KaxChapters m_chapters;
  libmatroska::KaxAttachments m_attachments;
  libmatroska::KaxTags m_tags;
  std::unique_ptr<OpenMaster<libmatroska::KaxCluster>> m_cluster;  ///< the one that packets go into
  OpenMaster<libmatroska::KaxCues> m_cuesElement;

  std::uint64_t m_clusterTick = 0;
  std::uint64_t m_lastTime = 0;
  std::uint64_t m_endTime = 0;
  std::vector<Cue> m_cues;
  std::uint64_t m_clusterCount = 0;
  std::uint64_t m_clustersPerCue = 1;
};
