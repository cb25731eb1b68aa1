#pragma once

/// Reads back a file that a MatroskaWriter has written, from front to back and with libmatroska. It shares no
/// state with the writer.
///
///   file.Sync();
///   MatroskaReader reader(file, largestPacket);
///   while (const std::optional<MatroskaPacket> packet = reader.Next()) { ... }

#include "Host/Matroska/MatroskaIo.h"

#include <ebml/EbmlElement.h>
#include <ebml/EbmlStream.h>
#include <matroska/KaxBlock.h>
#include <matroska/KaxInfo.h>
#include <matroska/KaxTracks.h>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

/// The content of the file is not a valid Matroska file. The text says what is wrong, as in "no valid
/// Matroska element at byte 4711".
class DamagedMatroska : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What the file says about a track.
struct MatroskaTrack {
  std::uint64_t number = 0;  ///< as blocks name it
  std::string codec;
  double sampleRate = 0;
  std::uint64_t channels = 0;
  std::uint64_t bitsPerSample = 0;
  std::optional<std::uint64_t> defaultDuration;  ///< of a SimpleBlock, in nanoseconds
};

struct MatroskaPacket {
  std::size_t track = 0;                 ///< index in Tracks()
  std::span<const unsigned char> bytes;  ///< valid until the next call of Next
  std::uint64_t nanoseconds = 0;         ///< timestamp, as rounded to the file's clock
  std::optional<std::uint64_t> durationNanoseconds;
};

/// Strict: elements must follow each other without gaps from the first byte of the file to the last; each must be
/// complete, known, and lie within its parent. The content of elements that playback from front to back does not need
/// (SeekHead, Cues, Tags, Chapters, Attachments) is skipped. Memory: one packet, and the elements before the first.
///
/// All functions throw DamagedMatroska for an invalid file, whatever its bytes are, and Failure when it cannot be read.
class MatroskaReader {
 public:
  /// Reads all that precedes the first packet. A packet of more than `largestPacket` bytes counts as damage. `file`
  /// must be in sync and outlive the reader. `hasHelper`: a second thread helps to read a file that is not small.
  MatroskaReader(OutputFile& file, std::size_t largestPacket, bool hasHelper);
  MatroskaReader(const MatroskaReader&) = delete;
  MatroskaReader& operator=(const MatroskaReader&) = delete;
  ~MatroskaReader() = default;

  /// At least one.
  const std::vector<MatroskaTrack>& Tracks() const { return m_tracks; }

  /// The duration of the whole file; 0 when the file does not state it.
  double Nanoseconds() const { return m_nanoseconds; }

  /// The next packet; nothing at the end.
  std::optional<MatroskaPacket> Next();

 private:
  using Element = std::unique_ptr<libebml::EbmlElement>;

  void OpenSegment();
  void NextCluster();
  void ReadInfo(libmatroska::KaxInfo& info);
  void ReadTracks(libmatroska::KaxTracks& tracks);
  MatroskaPacket PacketOf(libmatroska::KaxBlockGroup& group) const;
  MatroskaPacket PacketOf(libmatroska::KaxInternalBlock& block) const;
  Element NextChild(const libebml::EbmlElement& parent);
  void ReadContent(libebml::EbmlElement& element, std::uint64_t largest);
  bool Parse(libebml::EbmlElement& element);

  std::uint64_t m_size;  ///< of the file
  std::uint64_t m_largestBlock;
  MatroskaInput m_io;
  libebml::EbmlStream m_stream;
  Element m_segment;
  Element m_cluster;  ///< null behind the last one
  Element m_block;
  std::vector<MatroskaTrack> m_tracks;
  double m_nanoseconds = 0;
  std::uint64_t m_tick = 0;  ///< in nanoseconds
  std::uint64_t m_clusterTick = 0;
};
