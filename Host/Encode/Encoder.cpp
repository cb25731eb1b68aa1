#include "Host/Encode/Encoder.h"

#include "Host/Plugin/CompressorCodes.h"
#include "Host/Text/Errors.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <list>
#include <string>

namespace {

/// "of linear PCM", "of type 7"
std::string PacketTypeText(IPacket::TPacketType type) {
  return type == IPacket::kPacketTypeLinearPCM ? "of linear PCM"
                                               : fmt::format("of type {}", static_cast<unsigned int>(type));
}

/// Sample frames of a packet, rounded to the nearest. Throws WrongUse when that is none.
std::uint64_t SampleFramesOf(unsigned int sampleRate, double framesPerSecond) {
  const double sampleFrames = std::floor(sampleRate / framesPerSecond + 0.5);
  // The negations refuse NaN too.
  if (!(framesPerSecond > 0) || !(sampleFrames >= 1)) {
    throw WrongUse(
        fmt::format("{} packets per second leave no sample frame for each at {} Hz", framesPerSecond, sampleRate));
  }
  // Converting a double beyond the type's range is undefined behaviour.
  return sampleFrames < 0x1p63 ? static_cast<std::uint64_t>(sampleFrames) : std::numeric_limits<std::uint64_t>::max();
}

}  // namespace

Encoder::Encoder(IAudioCompressor& compressor, const EncodingFormat& format, const EncoderOptions& options)
    : m_compressor(compressor),
      m_format(format),
      m_sampleFramesPerPacket(SampleFramesOf(format.sampleRate, options.framesPerSecond)) {
  // Hints and packet type come before CompressFrameBegin, which makes the run with them.
  ApplyHints(options);
  ChoosePacketType(options.packetType);
  KelAudio_t description = InputRecord({});
  Check(m_compressor.CompressFrameBegin(&description), "begin");
  // The sample rate of the output record becomes the time base of the packets.
  m_output.sampleRate = m_format.sampleRate;
  m_output.channels = m_format.channels;
  m_output.format = m_format.sampleType;
}

void Encoder::ApplyHints(const EncoderOptions& options) {
  m_compressor.SetFrameRateHint(options.framesPerSecond);
  m_compressor.SetStreamModeHint(kOutputStreamModeDefault);
  if (options.fileFormat == 0) {
    return;
  }
  m_compressor.SetFileFormatHint(options.fileFormat);
  if (m_compressor.IsFormatSupported(options.fileFormat) == 0) {
    throw Failure(fmt::format("{} does not support the file format \"{}\"", m_compressor.GetName(),
                              CodeText(options.fileFormat)));
  }
}

void Encoder::ChoosePacketType(const std::optional<IPacket::TPacketType>& wanted) {
  std::list<IPacket::TPacketType> types;
  m_compressor.QueryPossiblePacketTypes(types);
  const auto isPossible = [&types](IPacket::TPacketType type) {
    return std::find(types.begin(), types.end(), type) != types.end();
  };
  m_packetType = wanted                                      ? *wanted
                 : isPossible(IPacket::kPacketTypeLinearPCM) ? IPacket::kPacketTypeLinearPCM
                                                             : m_compressor.GetOutputPacketType();
  if (!isPossible(m_packetType) || m_compressor.SetOutputPacketType(m_packetType) == 0) {
    throw Failure(fmt::format("{} does not make packets {}", m_compressor.GetName(), PacketTypeText(m_packetType)));
  }
}

void Encoder::Encode(std::span<const unsigned char> bytes, const PacketSink& sink) {
  const std::size_t frameBytes = m_format.BytesPerSampleFrame();
  if (m_isFinished || bytes.size() % frameBytes != 0) {
    throw WrongUse(m_isFinished
                       ? std::string("the run of the compressor has ended")
                       : fmt::format("{} bytes are not whole sample frames of {} bytes", bytes.size(), frameBytes));
  }
  // A record holds its size in 32 bits: longer input goes in several calls, each of whole sample frames.
  const std::size_t most = std::numeric_limits<unsigned int>::max() / frameBytes * frameBytes;
  while (!bytes.empty()) {
    KelAudio_t input = InputRecord(bytes.first(std::min(bytes.size(), most)));
    Check(m_compressor.CompressFrame(&input, &m_output), "encode");
    m_taken += input.sampleCount;
    TakePackets(sink);
    bytes = bytes.subspan(input.dataSize);
  }
}

void Encoder::Finish(const PacketSink& sink) {
  if (m_isFinished) {
    throw WrongUse("the run of the compressor has ended");
  }
  Check(m_compressor.CompressFrame(nullptr, &m_output), "flush");
  TakePackets(sink);
  Check(m_compressor.CompressFrameEnd(), "end");
  m_isFinished = true;
  // Packets of other types may add a delay or padding; linear PCM must return exactly what it was given.
  if (m_packetType == IPacket::kPacketTypeLinearPCM && m_sampleFrames != m_taken) {
    throw Failure(fmt::format("the compressor was given {} sample frames and returned {}", m_taken, m_sampleFrames));
  }
}

void Encoder::TakePackets(const PacketSink& sink) {
  const bool isLinearPcm = m_packetType == IPacket::kPacketTypeLinearPCM;
  const std::size_t frameBytes = m_format.BytesPerSampleFrame();
  while (m_output.packets != nullptr) {
    // remove passes the ownership of the packet; null says that the bundle is empty.
    const OwnedPacket packet{m_output.packets->remove(0)};
    if (packet == nullptr) {
      return;
    }
    const std::span<const unsigned char> bytes(packet->getData(), packet->getDataSize());
    const std::uint64_t time = packet->getTime();
    // Only packets of linear PCM must say by their size how many sample frames they hold.
    const bool continues =
        isLinearPcm ? time == m_sampleFrames && bytes.size() % frameBytes == 0 : time >= m_sampleFrames;
    if (packet->getType() != m_packetType || packet->getTimeBase() != m_format.sampleRate || !continues) {
      throw Failure(fmt::format("the compressor returned a packet that does not continue the stream at sample frame {}",
                                m_sampleFrames));
    }
    const std::uint64_t sampleFrames = isLinearPcm ? bytes.size() / frameBytes : packet->getDuration();
    sink({bytes, time, sampleFrames});
    // After the call: if it throws, the packet does not count.
    m_sampleFrames = time + sampleFrames;
    ++m_packets;
  }
}

void Encoder::Check(RhoStatus status, const char* action) const {
  if (status != kRhoStatusSuccess) {
    throw Failure(fmt::format("the compressor cannot {} at sample frame {} (status {:08X})", action, m_taken,
                              static_cast<unsigned int>(status)));
  }
}

KelAudio_t Encoder::InputRecord(std::span<const unsigned char> bytes) const {
  KelAudio_t record{};
  record.time = m_taken;
  record.timeScale = m_format.sampleRate;
  record.format = m_format.sampleType;
  record.channels = m_format.channels;
  record.sampleRate = m_format.sampleRate;
  record.dataSize = static_cast<unsigned int>(bytes.size());
  record.sampleCount = record.dataSize / m_format.BytesPerSampleFrame();
  record.duration = record.sampleCount;
  // The cast is safe: the record serves both directions, and a compressor only reads its input.
  record.data = const_cast<unsigned char*>(bytes.data());
  return record;
}
