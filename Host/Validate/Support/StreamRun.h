#pragma once

/// Runs of a compressor: blocks in, packets out, every status and every packet looked at.

#include "Host/Validate/Support/CheckedModule.h"
#include "Host/Validate/Support/OutputRecord.h"
#include "Host/Validate/Support/StreamSetup.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

using Bytes = std::span<const unsigned char>;

/// What a packet holds.
struct PacketRecord {
  unsigned int type = 0;
  unsigned int track = 0;
  std::uint64_t time = 0;
  std::uint64_t timeBase = 0;
  std::uint64_t duration = 0;
  std::vector<unsigned char> descriptor;
  std::vector<unsigned char> payload;

  bool operator==(const PacketRecord&) const = default;
};

/// Fails the check unless `call` has left the input record as it was, reserved fields and padding included.
void ExpectInputKept(const KelAudio_t& before, const KelAudio_t& after, const char* call);

/// A copy of the packet's contents. Fails the check for a packet that cannot be read: null, or with a size but no
/// bytes.
PacketRecord RecordOf(const IPacket* packet);

/// What an output record says of the packets from one call.
struct OutputTimes {
  std::uint64_t time = 0;
  std::uint64_t timeScale = 0;
  std::uint64_t duration = 0;
  unsigned int sampleCount = 0;

  bool operator==(const OutputTimes&) const = default;
};

/// What came from one call of CompressFrame.
struct StreamCall {
  std::vector<PacketRecord> packets;
  OutputTimes output;
};

class StreamRun {
 public:
  /// Begins a run of `compressor`, which `setup` has been applied to.
  StreamRun(IAudioCompressor& compressor, const StreamSetup& setup);

  /// Goes on with a run by a copy of its compressor.
  StreamRun(IAudioCompressor& copy, const StreamRun& original);

  /// Hands over whole sample frames.
  StreamCall Give(Bytes bytes);
  /// Hands over the end of the input.
  StreamCall Flush();
  void End();

  /// Packets stay in the bundle, to pile up, and are not in the answers any more.
  void LeavePackets() { m_leavesPackets = true; }
  KelEncAudio_t& Output() { return *m_output; }

 private:
  StreamCall Call(KelAudio_t* input);
  std::vector<PacketRecord> TakePackets();

  IAudioCompressor& m_compressor;
  const StreamSetup& m_setup;
  std::unique_ptr<OutputRecord> m_output;
  std::uint64_t m_given = 0;  ///< sample frames
  bool m_leavesPackets = false;
};

/// Sizes of blocks in sample frames, taken in turn; not all of them 0.
using Blocks = std::vector<std::size_t>;

/// A whole run: what comes from each call, the flush last.
std::vector<StreamCall> EncodeCalls(IAudioCompressor& compressor, const StreamSetup& setup, Bytes bytes,
                                    const Blocks& blocks);
/// The packets of a whole run.
std::vector<PacketRecord> Encode(IAudioCompressor& compressor, const StreamSetup& setup, Bytes bytes,
                                 const Blocks& blocks);
/// The same with a new compressor, and the whole input in one block: what other runs are compared with.
std::vector<PacketRecord> EncodeAtOnce(const CheckedModule& module, const StreamSetup& setup, Bytes bytes);

/// A whole run of `input` in two blocks with a compressor that is set up: the first status that is not success.
/// Allocates nothing itself.
RhoStatus RunInto(IAudioCompressor& compressor, const StreamSetup& setup, Bytes input, KelEncAudio_t& out);

/// The packets of a record's bundle, which stay there; none when there is no bundle.
std::vector<PacketRecord> RecordsOf(const IPacketBundle* bundle);

/// "type 24, track 0, time 1470/44100, duration 0, 5880 bytes", and a digest of the bytes where asked for.
std::string PacketText(const PacketRecord& packet);
std::string PacketTextWithDigest(const PacketRecord& packet);

/// Adds packets to others.
void Append(std::vector<PacketRecord>& packets, std::vector<PacketRecord> more);

/// Fails the check unless both are the same; says which packet differs in what, `when`: "in blocks of 7 sample frames".
void ExpectSamePackets(const std::vector<PacketRecord>& expected, const std::vector<PacketRecord>& actual,
                       const std::string& when);

/// Input for a setup: bytes without a short period, the same each time.
std::vector<unsigned char> SomeInput(const StreamSetup& setup, std::size_t sampleFrames);
inline std::vector<unsigned char> SomeInput(const StreamSetup& setup) {
  return SomeInput(setup, setup.SomeSampleFrames());
}
