#include "Host/Validate/Support/StreamRun.h"

#include "Host/Validate/Engine/Check.h"
#include "RHOAPI/RHOAPIPacketBundle.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <random>

namespace {

std::string PacketText(const PacketRecord& packet) {
  return "type " + std::to_string(packet.type) + ", track " + std::to_string(packet.track) + ", time " +
         std::to_string(packet.time) + '/' + std::to_string(packet.timeBase) + ", duration " +
         std::to_string(packet.duration) + ", " + std::to_string(packet.payload.size()) + " bytes";
}

std::vector<unsigned char> Copied(const unsigned char* bytes, unsigned long size, const std::string& what) {
  constexpr unsigned long kMost = std::numeric_limits<int>::max();
  Expect(size <= kMost, what + " of less than 2 GiB", std::to_string(size) + " bytes");
  Expect(size == 0 || bytes != nullptr, what + " where its size says " + std::to_string(size), "null");
  return size == 0 ? std::vector<unsigned char>() : std::vector<unsigned char>(bytes, bytes + size);
}

/// Where two payloads of one size part.
std::string ByteText(const std::vector<unsigned char>& payload, std::size_t place) {
  return "byte " + std::to_string(place) + " of its payload " + std::to_string(payload[place]);
}

}  // namespace

PacketRecord RecordOf(const IPacket* packet) {
  Expect(packet != nullptr, "a packet at each place of the bundle", "null");
  return {.type = packet->getType(),
          .track = packet->getTrack(),
          .time = packet->getTime(),
          .timeBase = packet->getTimeBase(),
          .duration = packet->getDuration(),
          .descriptor = Copied(packet->getDescriptor(), packet->getDescriptorSize(), "a descriptor"),
          .payload = Copied(packet->getData(), packet->getDataSize(), "a payload")};
}

StreamRun::StreamRun(IAudioCompressor& compressor, const StreamSetup& setup)
    : m_compressor(compressor), m_setup(setup), m_output(std::make_unique<OutputRecord>(setup.format.sampleRate)) {
  KelAudio_t description = setup.InputRecord();
  const RhoStatus status = compressor.CompressFrameBegin(&description);
  Expect(status == kRhoStatusSuccess, "CompressFrameBegin to answer 0 with " + setup.name, StatusText(status));
}

StreamRun::StreamRun(IAudioCompressor& copy, const StreamRun& original)
    : m_compressor(copy),
      m_setup(original.m_setup),
      m_output(std::make_unique<OutputRecord>(original.m_setup.format.sampleRate)),
      m_given(original.m_given) {}

StreamCall StreamRun::Give(Bytes bytes) {
  KelAudio_t input = m_setup.InputRecord();
  input.time = m_given;
  input.dataSize = static_cast<unsigned int>(bytes.size());
  input.sampleCount = input.dataSize / m_setup.format.BytesPerSampleFrame();
  input.duration = input.sampleCount;
  // The record is plain for both directions; a compressor only reads its input.
  input.data = const_cast<unsigned char*>(bytes.data());
  const unsigned int sampleFrames = input.sampleCount;
  StreamCall call = Call(
      &input, "CompressFrame of " + std::to_string(sampleFrames) + " sample frames from " + std::to_string(m_given));
  Expect(input.data == bytes.data() && input.dataSize == bytes.size() && input.sampleCount == sampleFrames,
         "CompressFrame to leave the input record as it is", "another size or address in it");
  m_given += sampleFrames;
  return call;
}

StreamCall StreamRun::Flush() { return Call(nullptr, "the flush"); }

void StreamRun::End() {
  const RhoStatus status = m_compressor.CompressFrameEnd();
  Expect(status == kRhoStatusSuccess, "CompressFrameEnd to answer 0 with " + m_setup.name, StatusText(status));
}

StreamCall StreamRun::Call(KelAudio_t* input, const std::string& what) {
  const RhoStatus status = m_compressor.CompressFrame(input, m_output.get());
  Expect(status == kRhoStatusSuccess, what + " to answer 0 with " + m_setup.name, StatusText(status));
  return {m_leavesPackets ? std::vector<PacketRecord>() : TakePackets(),
          {m_output->time, m_output->timeScale, m_output->duration, m_output->sampleCount}};
}

std::vector<PacketRecord> StreamRun::TakePackets() {
  std::vector<PacketRecord> packets;
  while (m_output->packets != nullptr && m_output->packets->size() != 0) {
    const unsigned long before = m_output->packets->size();
    const OwnedPacket packet(m_output->packets->remove(0));
    packets.push_back(RecordOf(packet.get()));
    Expect(m_output->packets->size() == before - 1, std::to_string(before - 1) + " packets when one has been taken out",
           std::to_string(m_output->packets->size()));
  }
  return packets;
}

std::vector<StreamCall> EncodeCalls(IAudioCompressor& compressor, const StreamSetup& setup, Bytes bytes,
                                    const Blocks& blocks) {
  std::vector<StreamCall> calls;
  StreamRun run(compressor, setup);
  for (std::size_t turn = 0; !bytes.empty(); ++turn) {
    const std::size_t size = std::min(bytes.size(), blocks[turn % blocks.size()] * setup.format.BytesPerSampleFrame());
    calls.push_back(run.Give(bytes.first(size)));
    bytes = bytes.subspan(size);
  }
  calls.push_back(run.Flush());
  run.End();
  return calls;
}

std::vector<PacketRecord> Encode(IAudioCompressor& compressor, const StreamSetup& setup, Bytes bytes,
                                 const Blocks& blocks) {
  std::vector<PacketRecord> packets;
  for (StreamCall& call : EncodeCalls(compressor, setup, bytes, blocks)) {
    Append(packets, std::move(call.packets));
  }
  return packets;
}

std::vector<PacketRecord> EncodeAtOnce(const CheckedModule& module, const StreamSetup& setup, Bytes bytes) {
  return Encode(*setup.NewCompressor(module), setup, bytes, {bytes.size()});
}

void Append(std::vector<PacketRecord>& packets, std::vector<PacketRecord> more) {
  packets.insert(packets.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

void ExpectSamePackets(const std::vector<PacketRecord>& expected, const std::vector<PacketRecord>& came,
                       const std::string& when) {
  for (std::size_t index = 0; index < std::min(expected.size(), came.size()); ++index) {
    const PacketRecord& wanted = expected[index];
    const PacketRecord& packet = came[index];
    const std::string place = "packet " + std::to_string(index) + " of " + std::to_string(expected.size()) + ' ' + when;
    Expect(PacketText(wanted) == PacketText(packet), place + ": " + PacketText(wanted), PacketText(packet));
    Expect(wanted.descriptor == packet.descriptor, place + " with the same descriptor", "another one");
    const auto [differing, same] =
        std::mismatch(wanted.payload.begin(), wanted.payload.end(), packet.payload.begin(), packet.payload.end());
    if (differing != wanted.payload.end()) {
      const auto at = static_cast<std::size_t>(differing - wanted.payload.begin());
      throw CheckFailed{place + ": " + ByteText(wanted.payload, at), ByteText(packet.payload, at)};
    }
  }
  Expect(expected.size() == came.size(), std::to_string(expected.size()) + " packets " + when,
         std::to_string(came.size()));
}

std::vector<unsigned char> SomeInput(const StreamSetup& setup, std::size_t sampleFrames) {
  std::vector<unsigned char> bytes(sampleFrames * setup.format.BytesPerSampleFrame());
  std::minstd_rand random(1);
  for (unsigned char& byte : bytes) {
    byte = static_cast<unsigned char>(random() >> 8U);
  }
  return bytes;
}
