#pragma once

/// Whether a file holds what was encoded: takes note of every packet on its way there, and compares with what is read
/// back.
///
///     Verification verification(format);
///     verification.Add(packet);                  // ... each packet that is written
///     file.Sync();
///     verification.Compare(file, onProgress);    // throws at the first difference

#include "Host/Encode/Encoder.h"
#include "Host/Encode/FormatChoice.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <utility>

class OutputFile;

/// Memory: 8 bytes a packet, 21 MB for a day at 30 a second.
class Verification {
 public:
  explicit Verification(EncodingFormat format) : m_format(std::move(format)) {}

  /// Takes note of the next packet, which begins where the last one ends. One without bytes does not count.
  void Add(const EncodedPacket& packet);

  /// Reads the file, which must be in sync, by a MatroskaReader. Throws Failure unless the track has the format and the
  /// length, and the packets are those that were added: their number, times, sizes and bytes (by 64-bit hashes), and
  /// their durations where the file tells them. The first packet is packet 0: "song.mkv: packet 12 at sample frame
  /// 17640 differs from what was encoded". Calls `onProgress` with the sample frames compared, once for each packet.
  void Compare(const OutputFile& file, const std::function<void(std::uint64_t sampleFrames)>& onProgress) const;

 private:
  EncodingFormat m_format;
  std::deque<std::uint64_t> m_hashes;  ///< one a packet; grows without being moved
  std::size_t m_largestPacket = 0;
};
