#include "Host/Audio/SampleConverter.h"

namespace {

/// A packer for what reaches it: the source's own samples, or the resampler's doubles where the rate changes.
SamplePacker PackerFor(const SoundFormat& source, unsigned int rate, unsigned int bits) {
  return rate == source.sampleRate ? SamplePacker(source.sampleType, source.significantBits, bits)
                                   : SamplePacker(SampleType::kDouble, 53, bits);
}

}  // namespace

SampleConverter::SampleConverter(const SoundFormat& source, unsigned int rate, unsigned int bits)
    : m_channels(source.channels),
      m_frameSize(SizeOf(source.sampleType) * source.channels),
      m_packer(PackerFor(source, rate, bits)) {
  if (rate != source.sampleRate) {
    m_resampler.emplace(source, rate);
  }
}

SampleConverter::Bytes SampleConverter::Convert(const SampleBlock& block) {
  m_bytes.clear();
  if (m_resampler) {
    m_resampler->Process(block.samples, block.frames, m_append);
  } else if (m_packer.IsIdentity()) {
    return {static_cast<const unsigned char*>(block.samples), block.frames * m_frameSize};
  } else {
    Append(block.samples, block.frames);
  }
  return m_bytes;
}

SampleConverter::Bytes SampleConverter::Finish() {
  m_bytes.clear();
  if (m_resampler) {
    m_resampler->Finish(m_append);
  }
  return m_bytes;
}

/// Packs interleaved samples behind m_bytes. They have the type that PackerFor has chosen.
void SampleConverter::Append(const void* samples, std::size_t frames) {
  const std::size_t count = frames * m_channels;
  const std::size_t size = m_bytes.size();
  m_bytes.resize(size + count * m_packer.BytesPerSample());
  m_packer.Pack(samples, count, m_bytes.data() + size);
}

bool SampleConverter::IsExact(const SoundFormat& source, unsigned int rate, unsigned int bits) {
  return PackerFor(source, rate, bits).IsExact();
}

std::uint64_t SampleConverter::OutputFrames(std::uint64_t frames, unsigned int from, unsigned int to) {
  // Whole seconds and the rest are scaled apart, since frames × to may exceed 64 bits.
  return frames / from * to + (frames % from * to + from / 2) / from;
}
