#include "Host/Encode/Encoder.h"

#include "Host/Text/Errors.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <list>
#include <string>

namespace {

constexpr unsigned int kMatroskaCode = FourCharacterCode(" MKV");

/// A status as people look it up: "80010002".
std::string StatusText(RhoStatus status) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "%08X", status);
  return text.data();
}

}  // namespace

Encoder::Encoder(IAudioCompressor& compressor, const EncodingFormat& format, double framesPerSecond)
    : m_compressor(compressor),
      m_format(format),
      m_sampleFramesPerPacket(static_cast<std::uint64_t>(std::floor(format.sampleRate / framesPerSecond + 0.5))) {
  if (m_sampleFramesPerPacket == 0) {
    throw WrongUse("--fps: so many packets per second leave no sample frame for each at " +
                   std::to_string(format.sampleRate) + " Hz");
  }
  m_compressor.SetFrameRateHint(framesPerSecond);
  m_compressor.SetFileFormatHint(kMatroskaCode);
  m_compressor.SetStreamModeHint(kOutputStreamModeDefault);
  const std::string name = m_compressor.GetName();
  if (m_compressor.IsFormatSupported(kMatroskaCode) == 0) {
    throw Failure(name + " cannot go into Matroska files");
  }
  std::list<IPacket::TPacketType> types;
  m_compressor.QueryPossiblePacketTypes(types);
  const bool isPossible = std::find(types.begin(), types.end(), IPacket::kPacketTypeLinearPCM) != types.end();
  if (!isPossible || m_compressor.SetOutputPacketType(IPacket::kPacketTypeLinearPCM) == 0) {
    throw Failure(name + " does not make packets of linear PCM");
  }
}

void Encoder::Begin() {
  KelAudio_t description = InputRecord({});
  Check(m_compressor.CompressFrameBegin(&description), "begin");
  m_output.sampleRate = m_format.sampleRate;
  m_output.channels = m_format.channels;
  m_output.format = m_format.sampleType;
  m_taken = 0;
  m_sampleFrames = 0;
  m_packets = 0;
}

void Encoder::Encode(std::span<const unsigned char> bytes, const PacketSink& sink) {
  if (bytes.empty()) {
    return;
  }
  KelAudio_t input = InputRecord(bytes);
  Check(m_compressor.CompressFrame(&input, &m_output), "encode");
  m_taken += input.sampleCount;
  TakePackets(sink);
}

void Encoder::Finish(const PacketSink& sink) {
  Check(m_compressor.CompressFrame(nullptr, &m_output), "flush");
  TakePackets(sink);
  Check(m_compressor.CompressFrameEnd(), "end");
  if (m_sampleFrames != m_taken) {
    throw Failure("the compressor took " + std::to_string(m_taken) + " sample frames and gave " +
                  std::to_string(m_sampleFrames));
  }
}

void Encoder::TakePackets(const PacketSink& sink) {
  if (m_output.packets == nullptr) {
    return;
  }
  while (const OwnedPacket packet{m_output.packets->remove(0)}) {
    const std::span<const unsigned char> bytes(packet->getData(), packet->getDataSize());
    if (packet->getType() != IPacket::kPacketTypeLinearPCM || packet->getTimeBase() != m_format.sampleRate ||
        packet->getTime() != m_sampleFrames || bytes.size() % m_format.BytesPerSampleFrame() != 0) {
      throw Failure("the compressor gave a packet that does not continue the stream at sample frame " +
                    std::to_string(m_sampleFrames));
    }
    const std::uint64_t sampleFrames = bytes.size() / m_format.BytesPerSampleFrame();
    sink({bytes, m_sampleFrames, sampleFrames});
    m_sampleFrames += sampleFrames;
    ++m_packets;
  }
}

void Encoder::Check(RhoStatus status, const char* action) const {
  if (status != kRhoStatusSuccess) {
    throw Failure(std::string("the compressor cannot ") + action + " at sample frame " + std::to_string(m_taken) +
                  " (status " + StatusText(status) + ")");
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
  // The record is plain for both directions; a compressor only reads its input.
  record.data = const_cast<unsigned char*>(bytes.data());
  return record;
}
