#include "Host/Validate/Support/StreamTimes.h"

#include "Host/Validate/Engine/Check.h"

void ExpectNumber(std::uint64_t expected, std::uint64_t came, const std::string& what) {
  Expect(expected == came, what + ": " + std::to_string(expected), std::to_string(came));
}

std::uint64_t SampleFramesOf(const PacketRecord& packet, const StreamSetup& setup) {
  const std::size_t bytesPerSampleFrame = setup.format.BytesPerSampleFrame();
  Expect(packet.payload.size() % bytesPerSampleFrame == 0,
         "a payload of whole sample frames, " + std::to_string(bytesPerSampleFrame) + " bytes each, with " + setup.name,
         std::to_string(packet.payload.size()) + " bytes");
  return packet.payload.size() / bytesPerSampleFrame;
}

void ExpectContinues(const StreamCall& call, const StreamSetup& setup, std::uint64_t& position) {
  const std::uint64_t rate = setup.format.sampleRate;
  const std::uint64_t start = position;
  for (const PacketRecord& packet : call.packets) {
    const std::uint64_t sampleFrames = SampleFramesOf(packet, setup);
    const std::string with = " of the packet at sample frame " + std::to_string(position) + " with " + setup.name;
    ExpectNumber(IPacket::kPacketTypeLinearPCM, packet.type, "type" + with);
    ExpectNumber(rate, packet.timeBase, "time base" + with);
    ExpectNumber(position, packet.time, "time" + with);
    ExpectNumber(packet.duration == 0 ? 0 : sampleFrames, packet.duration, "duration" + with);
    position += sampleFrames;
  }
  const std::string with =
      " in the output record of the call at sample frame " + std::to_string(start) + " with " + setup.name;
  ExpectNumber(rate, call.output.timeScale, "time scale" + with);
  ExpectNumber(start, call.output.time, "time" + with);
  ExpectNumber(position - start, call.output.sampleCount, "sample count" + with);
  ExpectNumber(position - start, call.output.duration, "duration" + with);
}

void ExpectInOrder(const std::vector<PacketRecord>& packets, const StreamSetup& setup) {
  for (std::size_t index = 0; index < packets.size(); ++index) {
    const PacketRecord& packet = packets[index];
    const PacketRecord& before = packets[index == 0 ? 0 : index - 1];
    const std::string with = " of packet " + std::to_string(index) + " with " + setup.name;
    Expect(packet.timeBase != 0, "a time base" + with, "0");
    ExpectNumber(before.timeBase, packet.timeBase, "time base" + with);
    ExpectNumber(before.track, packet.track, "track" + with);
    Expect(packet.time >= before.time, "time" + with + " not before " + std::to_string(before.time),
           std::to_string(packet.time));
    if (index != 0 && before.duration != 0) {
      ExpectNumber(before.time + before.duration, packet.time, "time" + with);
    }
  }
}
