#pragma once

/// One run of a compressor: samples in, packets out, with every call in the order that the compressor's interface
/// documents and every answer checked.
///
///     Encoder encoder(*compressor, format, {.framesPerSecond = 25.0});
///     encoder.Encode(bytes, write);  // any number of times; write(packet) is called for each packet that is ready
///     encoder.Finish(write);

#include "Host/Encode/EncodingFormat.h"
#include "RHOAPI/RHOAPIPacketBundle.h"
#include "RHOAPI/RhoapiAudioCodec.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>

struct EncoderOptions {
  /// Video frames per second: a packet holds the sample frames of one of them.
  double framesPerSecond = 30.0;

  /// Four-character code of the file format that the packets go to, as in FourCharacterCode(" MKV"); 0 for none.
  unsigned int fileFormat = 0;

  /// The packet type that the host needs. Otherwise linear PCM, or the compressor's own choice if it makes none.
  std::optional<IPacket::TPacketType> packetType{};
};

/// A packet. The bytes are valid during the call that it is passed to.
struct EncodedPacket {
  std::span<const unsigned char> bytes;
  std::uint64_t time = 0;          ///< sample frames before it
  std::uint64_t sampleFrames = 0;  ///< sample frames that it holds; 0 if the compressor does not tell
};

class Encoder {
 public:
  using PacketSink = std::function<void(const EncodedPacket&)>;

  /// Gives `compressor`, whose settings hold `format`, its hints and begins the run. The compressor must outlive the
  /// object and must not be used otherwise meanwhile. Throws Failure if the compressor refuses the file format, the
  /// packet type or the run, and WrongUse if a packet would hold no sample frame.
  Encoder(IAudioCompressor& compressor, const EncodingFormat& format, const EncoderOptions& options = {});

  /// Encodes whole sample frames of `format`, interleaved; 24-bit samples take three bytes. Throws Failure if the
  /// compressor refuses them or returns a packet that does not continue the stream, WrongUse for part of a sample frame
  /// and after Finish.
  void Encode(std::span<const unsigned char> bytes, const PacketSink& sink);

  /// Encodes what the compressor still holds and ends the run. Throws as Encode does, and Failure if the packets do not
  /// hold all sample frames.
  void Finish(const PacketSink& sink);

  /// Sample frames of a packet; the last one may hold fewer.
  std::uint64_t SampleFramesPerPacket() const { return m_sampleFramesPerPacket; }

  IPacket::TPacketType PacketType() const { return m_packetType; }

  /// Sample frames in the packets so far.
  std::uint64_t EncodedSampleFrames() const { return m_sampleFrames; }
  std::uint64_t Packets() const { return m_packets; }

 private:
  /// Tells the compressor frame rate, stream mode and file format. Throws Failure if it refuses the file format.
  void ApplyHints(const EncoderOptions& options);
  /// Sets m_packetType and the compressor's packet type. Throws Failure if it does not make such packets.
  void ChoosePacketType(const std::optional<IPacket::TPacketType>& wanted);

  /// Passes every packet in the output record to `sink` and destroys it.
  void TakePackets(const PacketSink& sink);

  /// Throws Failure unless `status` is success.
  void Check(RhoStatus status, const char* action) const;

  /// Input record for `bytes`.
  KelAudio_t InputRecord(std::span<const unsigned char> bytes) const;

  /// The output record; destroys the bundle of packets that the compressor has put into it.
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
  IPacket::TPacketType m_packetType = IPacket::kPacketTypeNone;
  Output m_output;
  bool m_isFinished = false;
  std::uint64_t m_taken = 0;         ///< sample frames given to the compressor
  std::uint64_t m_sampleFrames = 0;  ///< sample frames in the packets
  std::uint64_t m_packets = 0;
};
