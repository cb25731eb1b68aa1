#include "Host/Transcode/Verification.h"

#include "Host/Matroska/MatroskaReader.h"
#include "Host/System/OutputFile.h"
#include "Host/Text/Errors.h"

#include <fmt/format.h>
#define XXH_INLINE_ALL  // a library less to load
#include <xxhash.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace {

/// In nanoseconds.
constexpr std::uint64_t kSecond = 1'000'000'000;

std::uint64_t Hash(std::span<const unsigned char> bytes) { return XXH3_64bits(bytes.data(), bytes.size()); }

/// The sample time nearest to a timestamp of the file.
std::uint64_t SampleFrames(std::uint64_t nanoseconds, std::uint64_t sampleRate) {
  return nanoseconds / kSecond * sampleRate + (nanoseconds % kSecond * sampleRate + kSecond / 2) / kSecond;
}

/// Whether all tracks are linear PCM (signed, little-endian) of that format.
bool HaveFormat(const std::vector<MatroskaTrack>& tracks, const EncodingFormat& format) {
  return std::all_of(tracks.begin(), tracks.end(), [&format](const MatroskaTrack& track) {
    return track.codec == "A_PCM/INT/LIT" && track.sampleRate == format.sampleRate &&
           track.channels == format.channels && track.bitsPerSample == format.bits;
  });
}

/// How the packet that should begin at sample frame `time` of `track` differs from what was encoded; empty when it
/// does not. The duration follows from the number of bytes, since the packets are linear PCM.
std::string Difference(const MatroskaPacket& packet, std::size_t track, std::uint64_t time, std::uint64_t hash,
                       const EncodingFormat& format) {
  if (packet.track != track) {
    return fmt::format("is of track {} in the file, not {}", packet.track, track);
  }
  const std::uint64_t actual = SampleFrames(packet.nanoseconds, format.sampleRate);
  if (actual != time) {
    return fmt::format("is at {} in the file", actual);
  }
  const bool hasDuration =
      !packet.durationNanoseconds || SampleFrames(*packet.durationNanoseconds, format.sampleRate) ==
                                         packet.bytes.size() / format.BytesPerSampleFrame();
  return hasDuration && Hash(packet.bytes) == hash ? "" : "differs from what was encoded";
}

}  // namespace

void Verification::Add(const EncodedPacket& packet) {
  if (!packet.bytes.empty()) {
    m_hashes.push_back(Hash(packet.bytes));
    m_largestPacket = std::max(m_largestPacket, packet.bytes.size());
  }
}

void Verification::Compare(OutputFile& file, bool hasHelper,
                           const std::function<void(std::uint64_t sampleFrames)>& onProgress) const {
  std::size_t number = 0;
  std::uint64_t time = 0;
  const auto failure = [&](const std::string& what) {
    const std::string subject = number < m_hashes.size() ? fmt::format("packet {} at sample frame {}", number, time)
                                                         : "the file after its last packet";
    return Failure(fmt::format("{}: {} {}", file.Name(), subject, what));
  };
  try {
    MatroskaReader reader(file, m_largestPacket, hasHelper);
    if (reader.Tracks().size() != m_tracks) {
      throw Failure(fmt::format("{}: expected {} tracks, found {}", file.Name(), m_tracks, reader.Tracks().size()));
    }
    if (!HaveFormat(reader.Tracks(), m_format)) {
      throw Failure(file.Name() + ": the track's format differs from what was encoded");
    }
    for (; number < m_hashes.size(); ++number) {
      const std::optional<MatroskaPacket> packet = reader.Next();
      const std::string difference =
          packet ? Difference(*packet, number % m_tracks, time, m_hashes[number], m_format) : "is missing";
      if (!difference.empty()) {
        throw failure(difference);
      }
      // The packets of all tracks take turns at the same time.
      if (number % m_tracks + 1 == m_tracks) {
        time += packet->bytes.size() / m_format.BytesPerSampleFrame();
      }
      onProgress(time);
    }
    if (reader.Next()) {
      throw failure("holds a packet that was not encoded");
    }
    // The file's duration is a double, in ticks; its rounding errors are far below a sample frame.
    if (std::round(reader.Nanoseconds() * m_format.sampleRate / kSecond) != static_cast<double>(time)) {
      throw Failure(file.Name() + ": the duration differs from what was encoded");
    }
  } catch (const DamagedMatroska& error) {
    throw failure(fmt::format("cannot be read back: {}", error.what()));
  }
}
