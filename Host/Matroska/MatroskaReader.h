#pragma once

/// Reads back what a MatroskaWriter has written, front to back and by the container's own library: nothing that the
/// writer knew is used.
///
///   file.Sync();
///   MatroskaReader reader(file, largestPacket);
///   while (const std::optional<MatroskaPacket> packet = reader.Next()) { ... }

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>

class OutputFile;

/// What the file is at fault in, as in "no whole Matroska element at byte 4711".
class DamagedMatroska : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What the file says of its only track.
struct MatroskaTrack {
  std::string codec;
  double sampleRate = 0;
  std::uint64_t channels = 0;
  std::uint64_t bitsPerSample = 0;
  double nanoseconds = 0;  ///< duration of the whole; 0 when the file does not tell
};

struct MatroskaPacket {
  std::span<const unsigned char> bytes;  ///< valid until the next call of Next
  std::uint64_t nanoseconds = 0;         ///< its time, as rounded to the file's clock
  std::optional<std::uint64_t> durationNanoseconds;
};

/// Strict: elements follow each other without gaps, each of them whole, known and within the one that holds it, from
/// the first byte of the file to the last. What is in those that playing from front to back does not need (SeekHead,
/// Cues, Tags) is passed over. Memory: one packet, and what stands before the first.
///
/// Everything here throws DamagedMatroska for a file that is not as it has to be, whatever its bytes are, and Failure
/// when it cannot be read.
class MatroskaReader {
 public:
  /// Reads all that stands before the first packet. A packet of more than `largestPacket` bytes will count as damage.
  /// `file` must be in sync, and outlive the reader.
  MatroskaReader(const OutputFile& file, std::size_t largestPacket);
  MatroskaReader(const MatroskaReader&) = delete;
  MatroskaReader& operator=(const MatroskaReader&) = delete;
  ~MatroskaReader();

  const MatroskaTrack& Track() const;

  /// The next packet; nothing at the end.
  std::optional<MatroskaPacket> Next();

 private:
  class Demuxer;
  std::unique_ptr<Demuxer> m_demuxer;
};
