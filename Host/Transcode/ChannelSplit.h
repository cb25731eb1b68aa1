#pragma once

/// Channels that become tracks of their own.

#include "Host/Audio/Metadata/SoundMetadata.h"
#include "Host/Encode/Encoder.h"
#include "Host/Encode/SoundFormat.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// A name for each channel: what the iXML of a recorder calls its track, else the speaker ("FL"), else "Channel 3".
std::vector<std::string> ChannelNames(const SoundFormat& sound, const SoundMetadata& metadata);

/// Takes one channel out of `block`, which has the format `sound`. The result lies in `memory`.
SampleBlock TakeChannel(const SampleBlock& block, const SoundFormat& sound, std::size_t channel,
                        std::vector<unsigned char>& memory);

/// Brings packets of several tracks, which are encoded one after another, into the order of time. With one track they
/// pass through without a copy.
class PacketOrder {
 public:
  using Sink = std::function<void(std::size_t track, const EncodedPacket& packet)>;

  PacketOrder(std::size_t tracks, Sink sink) : m_tracks(tracks), m_sink(std::move(sink)) {}

  void Add(std::size_t track, const EncodedPacket& packet);

  /// Passes on what was added. Call it when all tracks are encoded up to the same time.
  void Flush();

 private:
  struct Packet {
    std::size_t track;
    std::vector<unsigned char> bytes;
    std::uint64_t time;
    std::uint64_t sampleFrames;
  };

  std::size_t m_tracks;
  Sink m_sink;
  std::vector<Packet> m_packets;
};
