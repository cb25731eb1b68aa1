#pragma once

/// One run of a compressor: samples in, packets out, every call in the order that the compressor's interface documents
/// and every answer checked.
///
///     Encoder encoder(*compressor, format, 25.0);
///     encoder.Begin();
///     encoder.Encode(bytes, write);  // any number of times; write(packet) is called for each packet that is ready
///     encoder.Finish(write);

#include "Host/Encode/FormatChoice.h"
#include "RHOAPI/RHOAPIPacketBundle.h"
#include "RHOAPI/RhoapiAudioCodec.h"

#include <cstdint>
#include <functional>
#include <span>

/// A packet as it goes to the file. The bytes are valid during the call that it is handed to.
struct EncodedPacket {
  std::span<const unsigned char> bytes;
  std::uint64_t time = 0;          ///< sample frames before it
  std::uint64_t sampleFrames = 0;  ///< sample frames that it holds
};

class Encoder {
 public:
  using PacketSink = std::function<void(const EncodedPacket&)>;

  /// Prepares `compressor`, whose settings have come to stand at `format`, for packets of one video frame each in a
  /// Matroska file. Throws Failure when it cannot do that, WrongUse when a packet would have no sample frame.
  Encoder(IAudioCompressor& compressor, const EncodingFormat& format, double framesPerSecond);

  /// How many sample frames a packet has, except a shorter last one.
  std::uint64_t SampleFramesPerPacket() const { return m_sampleFramesPerPacket; }

  /// Begins the run. Throws Failure when the compressor refuses.
  void Begin();

  /// Encodes whole sample frames, less than 2^32 bytes of them. Throws Failure when the compressor refuses them or
  /// gives a packet that does not continue the stream.
  void Encode(std::span<const unsigned char> bytes, const PacketSink& sink);

  /// Encodes what is left, and ends the run. Throws Failure as Encode does, and when sample frames were lost.
  void Finish(const PacketSink& sink);

  /// Sample frames in the packets so far.
  std::uint64_t EncodedSampleFrames() const { return m_sampleFrames; }
  std::uint64_t Packets() const { return m_packets; }

 private:
  /// Hands every packet in the output record to `sink` and destroys it.
  void TakePackets(const PacketSink& sink);

  /// Throws Failure unless `status` is success.
  void Check(RhoStatus status, const char* action) const;

  /// Input record for `bytes`.
  KelAudio_t InputRecord(std::span<const unsigned char> bytes) const;

  struct Output : KelEncAudio_t {
    Output() : KelEncAudio_t{} {}
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output() {
      if (packets != nullptr) {
        packets->destroy();
      }
    }
  };

  IAudioCompressor& m_compressor;
  EncodingFormat m_format;
  std::uint64_t m_sampleFramesPerPacket;
  Output m_output;
  std::uint64_t m_taken = 0;         ///< sample frames given to the compressor
  std::uint64_t m_sampleFrames = 0;  ///< sample frames that came back
  std::uint64_t m_packets = 0;
};
