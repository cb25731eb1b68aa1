#include "Toolbox/KelUtils/Media/AudioBuffers.h"

#include "RHOAPI/RHOAPIPacketBuilder.h"
#include "RHOAPI/RHOAPIPacketBundle.h"

#include <array>
#include <cstring>

unsigned int BytesPerSample(EAudioFormatType format) {
  constexpr std::array<unsigned char, 12> kSizes{1, 2, 2, 3, 4, 4, 1, 2, 2, 3, 4, 4};
  return format < kSizes.size() ? kSizes[format] : 0;
}

unsigned int CalcFrameSize(const KelAudio_t& audio) {
  return audio.channels * audio.sampleCount * BytesPerSample(audio.format);
}

void KelPadAudioBufferWithSilence(KelAudio_t& buffer) {
  if (buffer.format == kAudioFormatNone || buffer.data == nullptr) {
    return;
  }
  // The product of two 32-bit numbers fits in 64 bits, that of three does not, so the data size is divided instead.
  const unsigned long long samples = static_cast<unsigned long long>(buffer.channels) * buffer.sampleCount;
  const unsigned long long sampleSize = BytesPerSample(buffer.format);
  if (sampleSize != 0 && samples > buffer.dataSize / sampleSize) {
    return;
  }
  const auto held = static_cast<std::size_t>(samples * sampleSize);
  std::memset(buffer.data + held, 0, buffer.dataSize - held);
}

TRHOAPIPacket* KelEncAudio_t::addDataPacket(IPacket::TPacketType type, const unsigned char* payload,
                                            unsigned long size) {
  const unsigned long copied = payload == nullptr ? 0 : size;
  PacketBuilder builder(type, copied);
  if (copied != 0) {
    std::memcpy(builder.payload(), payload, copied);
  }
  addPacket(&builder.finish(copied));
  return builder.release();
}

void KelEncAudio_t::addPacket(IPacket* packet) {
  if (packets == nullptr) {
    packets = new TPacketBundle(static_cast<const char*>(nullptr));
  }
  packets->append(packet);
}
