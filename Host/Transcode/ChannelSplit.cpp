#include "Host/Transcode/ChannelSplit.h"

#include "Host/Encode/SpeakerLayout.h"

#include <fmt/format.h>
#include <pugixml.hpp>

#include <algorithm>
#include <cstring>
#include <sstream>

namespace {

/// Replaces the names of channels by those that the iXML of a recorder gives to its tracks. Damaged XML gives none.
void TakeTrackNames(const std::string& iXml, std::vector<std::string>& names) {
  pugi::xml_document document;
  if (!document.load_buffer(iXml.data(), iXml.size())) {
    return;
  }
  for (const pugi::xml_node track : document.child("BWFXML").child("TRACK_LIST").children("TRACK")) {
    const unsigned int number = track.child("INTERLEAVE_INDEX").text().as_uint();
    const std::string name = track.child("NAME").text().get();
    // INTERLEAVE_INDEX counts the channels of the file from 1.
    if (number >= 1 && number <= names.size() && !name.empty()) {
      names[number - 1] = name;
    }
  }
}

}  // namespace

std::vector<std::string> ChannelNames(const SoundFormat& sound, const SoundMetadata& metadata) {
  std::vector<std::string> names;
  // The layout lists its speakers with blanks between them ("FL FR").
  std::istringstream speakers(LayoutOf(sound.speakers.value_or(0), sound.channels).speakers);
  for (unsigned int channel = 1; channel <= sound.channels; ++channel) {
    std::string name;
    if (!(speakers >> name)) {
      name = fmt::format("Channel {}", channel);
    }
    names.push_back(std::move(name));
  }
  for (const SoundMetadata::Attachment& attachment : metadata.attachments) {
    if (attachment.name == "iXML.xml") {
      TakeTrackNames(attachment.bytes, names);
    }
  }
  return names;
}

SampleBlock TakeChannel(const SampleBlock& block, const SoundFormat& sound, std::size_t channel,
                        std::vector<unsigned char>& memory) {
  const std::size_t size = SizeOf(sound.sampleType);
  const auto* source = static_cast<const unsigned char*>(block.samples) + channel * size;
  memory.resize(block.frames * size);
  for (std::size_t frame = 0; frame < block.frames; ++frame, source += sound.channels * size) {
    std::memcpy(memory.data() + frame * size, source, size);
  }
  return {memory.data(), block.frames};
}

void PacketOrder::Add(std::size_t track, const EncodedPacket& packet) {
  if (m_tracks == 1) {
    m_sink(track, packet);
  } else {
    // A copy: the packet's bytes are valid during this call only.
    m_packets.push_back({track, {packet.bytes.begin(), packet.bytes.end()}, packet.time, packet.sampleFrames});
  }
}

void PacketOrder::Flush() {
  // Stable: packets of the same time keep the order of their tracks.
  std::stable_sort(m_packets.begin(), m_packets.end(),
                   [](const Packet& a, const Packet& b) { return a.time < b.time; });
  for (const Packet& packet : m_packets) {
    m_sink(packet.track, {packet.bytes, packet.time, packet.sampleFrames});
  }
  m_packets.clear();
}
