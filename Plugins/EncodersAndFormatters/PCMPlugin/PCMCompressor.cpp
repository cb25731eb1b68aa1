#include "Plugins/EncodersAndFormatters/PCMPlugin/PCMCompressor.h"

#include "RHOAPI/RhoapiModule.h"
#include "Toolbox/KelUtils/Numbers/SaturatingCast.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

namespace {

/// Bits per sample, in ascending order: the first and the last one are the range of the setting.
constexpr std::array<unsigned int, 2> kSampleSizes{16, 24};
/// Sample frames per second, in ascending order for the same reason.
constexpr std::array<unsigned int, 11> kSampleRates{8000,  11025, 16000, 22050, 24000, 32000,
                                                    44100, 48000, 64000, 88200, 96000};

/// An entry of the channel setting: the name, by which KelGetChannelMode finds the layout, and the number of channels.
struct Channels {
  const char* name;
  int count;
};
constexpr std::array<Channels, 5> kChannels{{{"Mono", 1}, {"Stereo", 2}, {"5.1", 6}, {"6.1", 7}, {"7.1", 8}}};

/// A packet with room for `capacity` bytes of samples. Throws std::bad_alloc.
PacketBuilder MakePacket(unsigned int capacity) { return {IPacket::kPacketTypeLinearPCM, capacity}; }

}  // namespace

CPCMCompressor::CPCMCompressor(unsigned int codec)
    : m_codec(codec),
      m_dataRate("Data Rate", "DataRate", 0, 0, 0, 0, nullptr),
      m_sampleSize("Sample Size", "SampleSize", 16, kSampleSizes.front(), kSampleSizes.back(), 0, nullptr),
      m_sampleRate("Sample Rate", "SampleRate", 44100, kSampleRates.front(), kSampleRates.back(), 0, nullptr),
      m_channels("Channels", "Channels") {
  m_outputPacketType = IPacket::kPacketTypeLinearPCM;
  for (const unsigned int bits : kSampleSizes) {
    m_sampleSize.AddAllowableValue(bits);
  }
  for (const unsigned int rate : kSampleRates) {
    m_sampleRate.AddAllowableValue(rate);
  }
  for (const auto& [name, count] : kChannels) {
    m_channels.AddValue(name, count);
  }
  // By its number, which selects Stereo.
  m_channels.SetValue(2);
  CPCMCompressor::ValidateSettings();
}

CPCMCompressor& CPCMCompressor::operator=(const CPCMCompressor& other) {
  if (this == &other) {
    return *this;
  }
  CAAudioCompressor::operator=(other);
  m_codec = other.m_codec;
  m_dataRate = other.m_dataRate;
  m_sampleSize = other.m_sampleSize;
  m_sampleRate = other.m_sampleRate;
  m_channels = other.m_channels;
  m_endOfStream = other.m_endOfStream;
  // A packet of its own: the copy and the original may both finish theirs. Only the buffered bytes are copied, since
  // the rest of the payload is undefined. Without a packet there are no buffered bytes.
  m_packet = other.m_packet.packet() == nullptr ? PacketBuilder() : MakePacket(other.m_bytesPerPacket);
  if (other.m_bufferedBytes != 0) {
    std::memcpy(m_packet.payload(), other.m_packet.payload(), other.m_bufferedBytes);
  }
  m_bytesPerPacket = other.m_bytesPerPacket;
  m_bytesPerSampleFrame = other.m_bytesPerSampleFrame;
  m_bufferedBytes = other.m_bufferedBytes;
  m_emittedSampleFrames = other.m_emittedSampleFrames;
  return *this;
}

CPCMCompressor::~CPCMCompressor() = default;

void CPCMCompressor::QueryPossiblePacketTypes(std::list<IPacket::TPacketType>& types) const {
  add_if_not_already_there(types, IPacket::kPacketTypeLinearPCM);
}

unsigned int CPCMCompressor::IsFormatSupported(unsigned int fileFormat) {
  return fileFormat == FourCharacterCode(" MKV") ? 1 : 0;
}

const char* CPCMCompressor::GetName() { return "Linear PCM"; }

const char* CPCMCompressor::GetAbbreviatedName() { return "LPCM"; }

void CPCMCompressor::GetAudioCompressorInfo(unsigned int& manufacturer, unsigned int& codec) {
  manufacturer = kPCMManufacturerCode;
  codec = m_codec;
}

IAudioCompressor* CPCMCompressor::CreateCopy() {
  return NullOnFailure([this]() -> IAudioCompressor* {
    std::unique_ptr<CPCMCompressor, CompressorReleaser> copy(new CPCMCompressor(m_codec));
    *copy = *this;
    // The data rate follows from the other settings, even if they have changed since the host's last ValidateSettings.
    copy->ValidateSettings();
    return copy.release();
  });
}

RhoStatus CPCMCompressor::Release() {
  delete this;
  return kRhoStatusSuccess;
}

void CPCMCompressor::ValidateSettings() {
  unsigned int dataRate = ConfiguredBytesPerSampleFrame() * m_sampleRate.GetValue();
  // First, since it is the only step that can throw, and it then changes nothing.
  m_dataRate.ResetAllowableValues(1, &dataRate);
  m_dataRate.SetValue(dataRate);
}

RhoStatus CPCMCompressor::GetAudioFormatType(EAudioFormatType& type) {
  type = m_sampleSize.GetValue() == 24 ? kAudioFormat24Bit : kAudioFormat16Bit;
  return kRhoStatusSuccess;
}

RhoStatus CPCMCompressor::CompressFrameBegin(KelAudio_t* /*format*/) {
  const unsigned int sampleRate = m_sampleRate.GetValue();
  const unsigned int bytesPerSampleFrame = ConfiguredBytesPerSampleFrame();
  // The negated comparison also refuses NaN. An infinite hint leaves no sample frame per packet and is refused below.
  if (!(m_frameRateHint > 0) || bytesPerSampleFrame == 0) {
    return kRhoStatusBadArgument;
  }
  const double samplesPerPacket = std::floor(sampleRate / m_frameRateHint + 0.5);
  if (samplesPerPacket < 1 || samplesPerPacket * bytesPerSampleFrame > std::numeric_limits<unsigned int>::max()) {
    return kRhoStatusBadArgument;
  }
  // Neither the conversion nor the product overflows: the bound above is on the product.
  const unsigned int bytesPerPacket = static_cast<unsigned int>(samplesPerPacket) * bytesPerSampleFrame;
  // The only step that can fail after the checks: a run in progress keeps its packet and its state if it does.
  try {
    m_packet = MakePacket(bytesPerPacket);
  } catch (const std::bad_alloc&) {
    return kRhoStatusNoObject;
  }
  m_bytesPerPacket = bytesPerPacket;
  m_bytesPerSampleFrame = bytesPerSampleFrame;
  m_bufferedBytes = 0;
  m_emittedSampleFrames = 0;
  return kRhoStatusSuccess;
}

RhoStatus CPCMCompressor::CompressFrame(KelAudio_t* in, KelAudio_t* out) {
  if (m_endOfStream) {
    return kRhoStatusSuccess;
  }
  if (out == nullptr || out->sampleRate == 0 || m_bytesPerSampleFrame == 0) {
    return kRhoStatusBadArgument;
  }
  const unsigned int size = in == nullptr ? 0 : in->dataSize - in->dataSize % m_bytesPerSampleFrame;
  if (size != 0 && in->data == nullptr) {
    return kRhoStatusBadArgument;
  }
  // The interface names the base record for both directions. The output record is always a KelEncAudio_t.
  auto& output = *static_cast<KelEncAudio_t*>(out);
  output.timeScale = output.sampleRate;
  output.time = m_emittedSampleFrames;
  output.duration = 0;
  output.sampleCount = 0;

  if (in == nullptr) {
    if (m_bufferedBytes != 0) {
      // Throws when out of memory. The stream is then not ended, so that the host can repeat the flush.
      EmitPacket(output);
    }
    m_endOfStream = true;
    return kRhoStatusSuccess;
  }
  // The most frequent case: the call fills no packet and needs one copy.
  if (size != 0 && m_packet.payload() != nullptr && size < m_bytesPerPacket - m_bufferedBytes) {
    std::memcpy(m_packet.payload() + m_bufferedBytes, in->data, size);
    m_bufferedBytes += size;
  } else {
    FillPackets(in->data, size, output);
  }
  return kRhoStatusSuccess;
}

RhoStatus CPCMCompressor::CompressFrameEnd() {
  m_endOfStream = false;
  return kRhoStatusSuccess;
}

unsigned int CPCMCompressor::ConfiguredBytesPerSampleFrame() const {
  return m_sampleSize.GetValue() / 8 * static_cast<unsigned int>(m_channels.GetValueInt());
}

void CPCMCompressor::FillPackets(const unsigned char* source, unsigned int size, KelEncAudio_t& out) {
  while (size != 0) {
    if (m_packet.packet() == nullptr) {
      // Allocated only when there are samples for it: a stream that ends with a full packet leaves no empty one behind.
      m_packet = MakePacket(m_bytesPerPacket);
    }
    const unsigned int taken = std::min(size, m_bytesPerPacket - m_bufferedBytes);
    std::memcpy(m_packet.payload() + m_bufferedBytes, source, taken);
    source += taken;
    size -= taken;
    m_bufferedBytes += taken;
    if (m_bufferedBytes == m_bytesPerPacket) {
      EmitPacket(out);
    }
  }
}

void CPCMCompressor::EmitPacket(KelEncAudio_t& out) {
  // Nothing of the compressor's state changes before the bundle has taken the packet: addPacket may throw.
  const unsigned int sampleFrames = m_bufferedBytes / m_bytesPerSampleFrame;
  TRHOAPIPacket& packet = m_packet.finish(m_bufferedBytes);
  packet.m_time = m_emittedSampleFrames;
  packet.m_timeBase = out.sampleRate;
  out.addPacket(&packet);  // complete, since the bundle may be the host's own
  m_packet.release();
  out.sampleCount += sampleFrames;
  // Not just the sample count, although time scale and sample rate are equal: the documented duration is this quotient,
  // and the product is rounded to 53 bits, so the quotient may be one less than the sample count.
  out.duration =
      SaturatingCast<unsigned long long>(static_cast<double>(out.timeScale) * out.sampleCount / out.sampleRate);
  m_emittedSampleFrames += sampleFrames;
  m_bufferedBytes = 0;
}
