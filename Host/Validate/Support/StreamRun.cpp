#include "Host/Validate/Support/StreamRun.h"

#include "Host/Validate/Engine/Check.h"
#include "RHOAPI/RHOAPIPacketBundle.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <iterator>
#include <limits>
#include <random>

namespace {

/// Fails the check for any other status from `call`.
void ExpectSuccess(RhoStatus status, const std::string& call, const StreamSetup& setup) {
  ExpectThat(status == kRhoStatusSuccess, StatusText(status), "status 00000000 from {} with {}", call, setup.name);
}

/// A copy of a packet's bytes. Fails the check for a size and an address that do not go together.
std::vector<unsigned char> Copied(const unsigned char* bytes, unsigned long size, const char* what) {
  // A packet without a sane size would make the copy run out of memory instead of failing the check.
  constexpr unsigned long kMost = std::numeric_limits<int>::max();
  ExpectThat(size <= kMost, fmt::format("{} bytes", size), "{} of less than 2 GiB", what);
  ExpectThat((size == 0) == (bytes == nullptr), bytes == nullptr ? "null" : "an address",
             "{} that is null if its size, {}, is 0", what, size);
  return size == 0 ? std::vector<unsigned char>() : std::vector<unsigned char>(bytes, bytes + size);
}

}  // namespace

void ExpectInputKept(const KelAudio_t& before, const KelAudio_t& after, const char* call) {
  // Reserved fields and padding count too.
  const auto* const bytes = reinterpret_cast<const unsigned char*>(&before);
  ExpectThat(std::equal(bytes, bytes + sizeof before, reinterpret_cast<const unsigned char*>(&after)),
             "another value in one of its fields", "{} to leave the input record as it is", call);
}

PacketRecord RecordOf(const IPacket* packet) {
  Expect(packet != nullptr, "a packet at each index of the bundle", "null");
  NoteStep("reading a packet");
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
  const KelAudio_t before = description;
  ExpectSuccess(compressor.CompressFrameBegin(&description), "CompressFrameBegin", setup);
  ExpectInputKept(before, description, "CompressFrameBegin");
}

StreamRun::StreamRun(IAudioCompressor& copy, const StreamRun& original)
    : m_compressor(copy),
      m_setup(original.m_setup),
      m_output(std::make_unique<OutputRecord>(original.m_setup.format.sampleRate)),
      m_given(original.m_given) {}

StreamCall StreamRun::Give(Bytes bytes) {
  KelAudio_t input = m_setup.InputRecord(bytes);
  input.time = m_given;
  const KelAudio_t before = input;
  StreamCall call = Call(&input);
  ExpectInputKept(before, input, "CompressFrame");
  m_given += input.sampleCount;
  return call;
}

StreamCall StreamRun::Flush() { return Call(nullptr); }

void StreamRun::End() { ExpectSuccess(m_compressor.CompressFrameEnd(), "CompressFrameEnd", m_setup); }

StreamCall StreamRun::Call(KelAudio_t* input) {
  const RhoStatus status = m_compressor.CompressFrame(input, m_output.get());
  // The text is formatted for failures only: a check makes many thousands of calls.
  if (status != kRhoStatusSuccess) {
    ExpectSuccess(status,
                  input == nullptr
                      ? "the flush"
                      : fmt::format("CompressFrame of {} sample frames from {}", input->sampleCount, m_given),
                  m_setup);
  }
  ExpectEqual(m_setup.format.sampleRate, m_output->sampleRate, "sample rate in the output record");
  for (const unsigned int reserved : {m_output->reserved1, m_output->reserved2, m_output->behind}) {
    ExpectThat(reserved == OutputRecord::kUntouched, "another value",
               "reserved fields of the output record, and what lies behind it, unchanged");
  }
  return {m_leavesPackets ? std::vector<PacketRecord>() : TakePackets(),
          {m_output->time, m_output->timeScale, m_output->duration, m_output->sampleCount}};
}

std::vector<PacketRecord> StreamRun::TakePackets() {
  std::vector<PacketRecord> packets;
  while (m_output->packets != nullptr && m_output->packets->size() != 0) {
    // From the front, as hosts take packets, and one by one, so that a wrong size shows.
    const unsigned long before = m_output->packets->size();
    const OwnedPacket packet(m_output->packets->remove(0));
    packets.push_back(RecordOf(packet.get()));
    ExpectEqual(before - 1, m_output->packets->size(), "packets in the bundle when one has been removed");
  }
  return packets;
}

RhoStatus RunInto(IAudioCompressor& compressor, const StreamSetup& setup, Bytes input, KelEncAudio_t& out) {
  setup.ApplyHintsTo(compressor);
  compressor.ValidateSettings();
  KelAudio_t record = setup.InputRecord();
  RhoStatus status = compressor.CompressFrameBegin(&record);
  const std::size_t half = setup.WholeBytes(input.size() / 2);
  for (const Bytes part : {input.first(half), input.subspan(half)}) {
    record = setup.InputRecord(part);
    // The first failure is kept, and nothing is called after it.
    status = status == kRhoStatusSuccess ? compressor.CompressFrame(&record, &out) : status;
  }
  status = status == kRhoStatusSuccess ? compressor.CompressFrame(nullptr, &out) : status;
  return status == kRhoStatusSuccess ? compressor.CompressFrameEnd() : status;
}

std::vector<PacketRecord> RecordsOf(const IPacketBundle* bundle) {
  std::vector<PacketRecord> packets;
  for (unsigned long index = 0; bundle != nullptr && index < bundle->size(); ++index) {
    packets.push_back(RecordOf(bundle->get(index)));
  }
  return packets;
}

std::string PacketText(const PacketRecord& packet) {
  return fmt::format("type {}, track {}, time {}/{}, duration {}, {} bytes", packet.type, packet.track, packet.time,
                     packet.timeBase, packet.duration, packet.payload.size());
}

std::string PacketTextWithDigest(const PacketRecord& packet) {
  const std::string_view bytes(reinterpret_cast<const char*>(packet.payload.data()), packet.payload.size());
  return fmt::format("{} of digest {:016x}", PacketText(packet), std::hash<std::string_view>()(bytes));
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
  // A block of as many sample frames as there are bytes holds the whole input.
  return Encode(*setup.NewCompressor(module), setup, bytes, {bytes.size()});
}

void Append(std::vector<PacketRecord>& packets, std::vector<PacketRecord> more) {
  packets.insert(packets.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

void ExpectSamePackets(const std::vector<PacketRecord>& expected, const std::vector<PacketRecord>& actual,
                       const std::string& when) {
  for (std::size_t index = 0; index < std::min(expected.size(), actual.size()); ++index) {
    const PacketRecord& wanted = expected[index];
    const PacketRecord& packet = actual[index];
    if (wanted == packet) {
      continue;
    }
    const std::string place = fmt::format("packet {} of {} {}", index, expected.size(), when);
    Expect(PacketText(wanted) == PacketText(packet), place + ": " + PacketText(wanted), PacketText(packet));
    Expect(wanted.descriptor == packet.descriptor, place + " with the same descriptor", "another one");
    // The texts are equal, and so are the sizes in them. All else being equal, a byte of the payload differs.
    const auto different = std::mismatch(wanted.payload.begin(), wanted.payload.end(), packet.payload.begin());
    ExpectEqual(*different.first, *different.second, "byte {} of the payload of {}",
                different.first - wanted.payload.begin(), place);
  }
  ExpectEqual(expected.size(), actual.size(), "number of packets {}", when);
}

std::vector<unsigned char> SomeInput(const StreamSetup& setup, std::size_t sampleFrames) {
  std::vector<unsigned char> bytes(sampleFrames * setup.format.BytesPerSampleFrame());
  // A fixed seed: the same bytes in each run and in each process. Eight at a time, since checks need many megabytes.
  std::mt19937_64 random(1);
  for (std::size_t at = 0; at < bytes.size(); at += sizeof(std::uint64_t)) {
    const std::uint64_t word = random();
    std::memcpy(&bytes[at], &word, std::min(sizeof word, bytes.size() - at));
  }
  return bytes;
}
