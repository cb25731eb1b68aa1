#pragma once

/// Checks that a file holds what was encoded: records every packet while it is written, then compares the records with
/// the packets that are read back.
///
///     Verification verification(format);
///     verification.Add(packet);                  // ... each packet that is written
///     file.Sync();
///     verification.Compare(file, true, onProgress);  // throws at the first difference

#include "Host/Encode/Encoder.h"
#include "Host/Encode/EncodingFormat.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <utility>

class OutputFile;

/// Memory: 8 bytes per packet, 21 MB for a day at 30 packets a second.
class Verification {
 public:
  /// `format` is that of each track. The packets of several tracks take turns: one of each track, then the next.
  explicit Verification(EncodingFormat format, std::size_t tracks = 1)
      : m_format(std::move(format)), m_tracks(tracks) {}

  /// Records the next packet, which begins where the previous one of its track ends. Packets without bytes are ignored.
  void Add(const EncodedPacket& packet);

  /// Reads the file, which must be in sync, with a MatroskaReader. Throws Failure unless the tracks have the format and
  /// the duration, and the packets are those that were added: their number, tracks, times, sizes and bytes (by 64-bit
  /// hashes), and their durations where the file states them. Packets are counted from 0: "song.mkv: packet 12 at
  /// sample frame 17640 differs from what was encoded". Calls `onProgress` with the sample frames compared so far,
  /// after each packet. `hasHelper`: a second thread helps to read.
  void Compare(OutputFile& file, bool hasHelper,
               const std::function<void(std::uint64_t sampleFrames)>& onProgress) const;

 private:
  EncodingFormat m_format;
  std::size_t m_tracks;
  std::deque<std::uint64_t> m_hashes;  ///< one per packet; a deque, since it grows without moving them
  std::size_t m_largestPacket = 0;
};
