#include "G711Compressor.h"

#include <RHOAPI/RhoapiModule.h>

#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>
#include <cstddef>
#include <memory>

namespace {

/// The input: samples of 16 bits.
constexpr unsigned int kBits = 16;
constexpr unsigned int kBytesPerSample = kBits / 8;
/// The numbers of the entries of the setting "Law".
enum Law { kALaw, kMuLaw };

/// The little-endian sample at that address, which need not be aligned.
std::int16_t SampleAt(const unsigned char* bytes) {
  return static_cast<std::int16_t>(static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8));
}

/// The magnitude as the standard takes it: the ones' complement of a negative sample, so that it has 15 bits.
unsigned int Magnitude(std::int16_t sample) { return static_cast<unsigned int>(sample < 0 ? ~sample : sample); }

/// Segment and step of a biased or large magnitude: segments begin at powers of two, and each has sixteen steps.
/// `firstBits` is the number of bits of magnitudes in segment 0.
unsigned int SegmentAndStep(unsigned int magnitude, unsigned int firstBits) {
  assert(magnitude >> (firstBits - 1) != 0);
  // Each further bit of the magnitude is one segment more. The four bits below the highest one are the step.
  const auto segment = static_cast<unsigned int>(std::bit_width(magnitude)) - firstBits;
  // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult): the magnitude has at least `firstBits` bits.
  return segment << 4 | (magnitude >> (segment + firstBits - 5) & 0xFU);
}

}  // namespace

std::uint8_t ToALaw(std::int16_t sample) {
  const unsigned int magnitude = Magnitude(sample);
  // Segments 0 and 1 have steps of the same size.
  const unsigned int code = magnitude < 256 ? magnitude >> 4 : SegmentAndStep(magnitude, 8);
  // G.711 inverts the even bits of A-law (0x55) and sets the sign bit for positive samples.
  return static_cast<std::uint8_t>(code ^ (sample < 0 ? 0x55U : 0xD5U));
}

std::uint8_t ToMuLaw(std::int16_t sample) {
  // The mu-law of G.711 takes 14-bit samples, hence the shift by 2. The bias makes all segments begin at powers of two;
  // larger magnitudes are clipped.
  constexpr unsigned int kBias = 33;
  constexpr unsigned int kLargest = 0x1FFF;
  const unsigned int magnitude = std::min((Magnitude(sample) >> 2) + kBias, kLargest);
  // All bits are inverted. The sign bit is set for negative samples, so it is 0 for them after the inversion.
  return static_cast<std::uint8_t>(~(SegmentAndStep(magnitude, 6) | (sample < 0 ? 0x80U : 0U)));
}

CG711Compressor::CG711Compressor()
    : m_dataRate("Data Rate", "DataRate", 0, 0, 0, 0, nullptr),
      m_sampleSize("Sample Size", "SampleSize", kBits, kBits, kBits, 0, nullptr),
      m_sampleRate("Sample Rate", "SampleRate", 8000, 8000, 16000, 0, nullptr),
      m_channels("Channels", "Channels"),
      m_law("Law", "Law") {
  m_outputPacketType = kPacketTypeG711;
  m_sampleSize.AddAllowableValue(kBits);
  m_sampleRate.AddAllowableValue(8000);
  m_sampleRate.AddAllowableValue(16000);
  m_channels.AddValue("Mono", 1);
  m_channels.AddValue("Stereo", 2);
  m_law.AddValue("A-law", kALaw);
  m_law.AddValue("mu-law", kMuLaw);
  m_law.SetToolTipText("A-law in most of the world, mu-law in North America and Japan");
  m_group.SetLabel("Companding");
  m_group.SetPresetLabel("Companding");
  m_group.include(m_law);
  CG711Compressor::ValidateSettings();
}

void CG711Compressor::QueryPossiblePacketTypes(std::list<IPacket::TPacketType>& types) const {
  add_if_not_already_there(types, kPacketTypeG711);
}

void CG711Compressor::GetAudioCompressorInfo(unsigned int& manufacturer, unsigned int& codec) {
  manufacturer = kG711Manufacturer;
  codec = kG711Codec;
}

void CG711Compressor::ValidateSettings() {
  // One byte per sample.
  unsigned int dataRate = static_cast<unsigned int>(m_channels.GetValueInt()) * m_sampleRate.GetValue();
  m_dataRate.ResetAllowableValues(1, &dataRate);
  m_dataRate.SetValue(dataRate);
}

RhoStatus CG711Compressor::CompressFrameBegin(KelAudio_t* /*format*/) {
  const auto channels = static_cast<unsigned int>(m_channels.GetValueInt());
  // The negated comparison also refuses a hint that is not a number.
  if (!(m_frameRateHint > 0)) {
    return kRhoStatusBadArgument;
  }
  const double framesPerPacket = std::floor(m_sampleRate.GetValue() / m_frameRateHint + 0.5);
  // The bound makes the conversion below safe, also where size_t has 32 bits.
  if (framesPerPacket < 1 || framesPerPacket * channels > 0x1p31) {
    return kRhoStatusBadArgument;
  }
  m_run.channels = channels;
  m_run.bytesPerPacket = static_cast<std::size_t>(framesPerPacket) * channels;
  m_run.isMuLaw = m_law.GetValueInt() == kMuLaw;
  m_run.emittedFrames = 0;
  m_run.companded.clear();
  return kRhoStatusSuccess;
}

RhoStatus CG711Compressor::CompressFrame(KelAudio_t* in, KelAudio_t* out) {
  if (m_run.isEnded) {
    return kRhoStatusSuccess;
  }
  const std::size_t bytesPerFrame = std::size_t{m_run.channels} * kBytesPerSample;
  if (out == nullptr || out->sampleRate == 0 || bytesPerFrame == 0) {
    return kRhoStatusBadArgument;
  }
  // Part of a sample frame at the end is ignored.
  const std::size_t frames = in == nullptr ? 0 : in->dataSize / bytesPerFrame;
  if (frames > 0 && in->data == nullptr) {
    return kRhoStatusBadArgument;
  }
  auto& output = *static_cast<KelEncAudio_t*>(out);
  output.time = m_run.emittedFrames;
  output.timeScale = output.sampleRate;
  output.sampleCount = 0;
  output.duration = 0;
  if (in == nullptr) {
    if (!m_run.companded.empty()) {
      EmitPacket(output);
    }
    // After the packet: a flush that throws can be repeated.
    m_run.isEnded = true;
    return kRhoStatusSuccess;
  }
  const std::size_t samples = frames * m_run.channels;
  // Does nothing once the memory is there: clear() keeps it.
  m_run.companded.reserve(m_run.bytesPerPacket);
  for (std::size_t index = 0; index < samples; ++index) {
    const std::int16_t sample = SampleAt(in->data + index * kBytesPerSample);
    m_run.companded.push_back(m_run.isMuLaw ? ToMuLaw(sample) : ToALaw(sample));
    if (m_run.companded.size() == m_run.bytesPerPacket) {
      EmitPacket(output);
    }
  }
  return kRhoStatusSuccess;
}

RhoStatus CG711Compressor::CompressFrameEnd() {
  m_run.isEnded = false;
  return kRhoStatusSuccess;
}

void CG711Compressor::EmitPacket(KelEncAudio_t& out) {
  // The state of the run changes after this call, which may throw.
  TRHOAPIPacket* const packet =
      out.addDataPacket(kPacketTypeG711, m_run.companded.data(), static_cast<unsigned long>(m_run.companded.size()));
  packet->m_time = m_run.emittedFrames;
  packet->m_timeBase = out.sampleRate;
  const auto frames = static_cast<unsigned int>(m_run.companded.size() / m_run.channels);
  out.sampleCount += frames;
  out.duration = out.sampleCount;
  m_run.emittedFrames += frames;
  m_run.companded.clear();
}

IAudioCompressor* CG711Compressor::CreateCopy() {
  return NullOnFailure([this]() -> IAudioCompressor* {
    auto copy = std::make_unique<CG711Compressor>();
    // Member by member: m_group lists the copy's own settings already, and a copied group would list the original's.
    copy->CAAudioCompressor::operator=(*this);
    copy->m_dataRate = m_dataRate;
    copy->m_sampleSize = m_sampleSize;
    copy->m_sampleRate = m_sampleRate;
    copy->m_channels = m_channels;
    copy->m_law = m_law;
    copy->m_run = m_run;
    return copy.release();
  });
}

RhoStatus CG711Compressor::Release() {
  delete this;
  return kRhoStatusSuccess;
}

// The entry points, by which a host finds the compressor.

int RhoGetNumberAudioCompressors() { return 1; }

void RhoGetAudioCompressorInfo(unsigned int /*index*/, unsigned int* manufacturer, unsigned int* codec,
                               unsigned int* version) {
  const auto give = [](unsigned int* to, unsigned int value) {
    if (to != nullptr) {
      *to = value;
    }
  };
  give(manufacturer, kG711Manufacturer);
  give(codec, kG711Codec);
  give(version, kG711Version);
}

IAudioCompressor* CreateAudioCompressor(unsigned int manufacturer, unsigned int codec) {
  if (manufacturer != kG711Manufacturer || codec != kG711Codec) {
    return nullptr;
  }
  return NullOnFailure([]() -> IAudioCompressor* { return new CG711Compressor; });
}
