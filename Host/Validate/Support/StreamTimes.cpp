#include "Host/Validate/Support/StreamTimes.h"

#include "Host/Validate/Engine/Check.h"

std::uint64_t SampleFramesOf(const PacketRecord& packet, const StreamSetup& setup) {
  const std::size_t bytesPerSampleFrame = setup.format.BytesPerSampleFrame();
  ExpectThat(packet.payload.size() % bytesPerSampleFrame == 0, fmt::format("{} bytes", packet.payload.size()),
             "a payload of whole sample frames, {} bytes each, with {}", bytesPerSampleFrame, setup.name);
  return packet.payload.size() / bytesPerSampleFrame;
}

void ExpectContinues(const StreamCall& call, const StreamSetup& setup, std::uint64_t& position) {
  const unsigned int rate = setup.format.sampleRate;
  const std::uint64_t start = position;
  for (const PacketRecord& packet : call.packets) {
    const std::uint64_t sampleFrames = SampleFramesOf(packet, setup);
    constexpr auto kWhere = "{} of the packet at sample frame {} with {}";
    ExpectEqual(unsigned{IPacket::kPacketTypeLinearPCM}, packet.type, kWhere, "type", position, setup.name);
    ExpectEqual(rate, packet.timeBase, kWhere, "time base", position, setup.name);
    ExpectEqual(position, packet.time, kWhere, "time", position, setup.name);
    // A packet may leave its duration open: 0.
    ExpectEqual(packet.duration == 0 ? 0 : sampleFrames, packet.duration, kWhere, "duration", position, setup.name);
    position += sampleFrames;
  }
  constexpr auto kWhere = "{} in the output record of the call at sample frame {} with {}";
  ExpectEqual(rate, call.output.timeScale, kWhere, "time scale", start, setup.name);
  ExpectEqual(start, call.output.time, kWhere, "time", start, setup.name);
  ExpectEqual(position - start, call.output.sampleCount, kWhere, "sample count", start, setup.name);
  ExpectEqual(position - start, call.output.duration, kWhere, "duration", start, setup.name);
}

void ExpectInOrder(const std::vector<PacketRecord>& packets, const StreamSetup& setup) {
  constexpr auto kWhere = "{} of packet {} with {}";
  for (std::size_t index = 0; index < packets.size(); ++index) {
    const PacketRecord& packet = packets[index];
    // The first packet is compared with itself.
    const PacketRecord& before = packets[index == 0 ? 0 : index - 1];
    ExpectThat(packet.timeBase != 0, "0", kWhere, "a time base", index, setup.name);
    ExpectEqual(before.timeBase, packet.timeBase, kWhere, "time base", index, setup.name);
    ExpectEqual(before.track, packet.track, kWhere, "track", index, setup.name);
    ExpectThat(packet.time >= before.time, fmt::to_string(packet.time), "time of packet {} not before {} with {}",
               index, before.time, setup.name);
    if (index != 0 && before.duration != 0) {
      ExpectEqual(before.time + before.duration, packet.time, kWhere, "time", index, setup.name);
    }
  }
}
