#include "Host/Audio/SampleConverter.h"

#include "Host/Audio/Resampler.h"
#include "Host/Audio/SamplePacker.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <vector>

class SampleConverter::Pipeline {
 public:
  Pipeline(const SoundFormat& source, unsigned int rate, unsigned int bits)
      : m_channels(source.channels),
        m_frameSize(SizeOf(source.sampleType) * source.channels),
        m_packer(rate == source.sampleRate ? SamplePacker(source.sampleType, source.significantBits, bits)
                                           : SamplePacker(SampleType::kDouble, 53, bits)) {
    if (rate != source.sampleRate) {
      m_resampler.emplace(source, rate);
    }
  }

  Bytes Convert(const SampleBlock& block) {
    m_bytes.clear();
    if (!m_resampler && m_packer.IsIdentity()) {
      return {static_cast<const unsigned char*>(block.samples), block.frames * m_frameSize};
    }
    if (!m_resampler) {
      Append(block.samples, block.frames);
      return m_bytes;
    }
    m_resampler->Process(block.samples, block.frames, m_append);
    return m_bytes;
  }

  Bytes Finish() {
    m_bytes.clear();
    if (m_resampler) {
      m_resampler->Finish(m_append);
    }
    return m_bytes;
  }

  const SamplePacker& Packer() const { return m_packer; }

 private:
  void Append(const void* samples, std::size_t frames) {
    const std::size_t count = frames * m_channels;
    const std::size_t size = m_bytes.size();
    m_bytes.resize(size + count * m_packer.BytesPerSample());
    m_packer.Pack(samples, count, m_bytes.data() + size);
  }

  std::size_t m_channels;
  std::size_t m_frameSize;  ///< bytes of an input frame
  SamplePacker m_packer;
  std::optional<Resampler> m_resampler;
  Resampler::Sink m_append = [this](const double* samples, std::size_t frames) { Append(samples, frames); };
  std::vector<unsigned char> m_bytes;
};

SampleConverter::SampleConverter(const SoundFormat& source, unsigned int rate, unsigned int bits)
    : m_pipeline(std::make_unique<Pipeline>(source, rate, bits)) {}

SampleConverter::~SampleConverter() = default;

SampleConverter::Bytes SampleConverter::Convert(const SampleBlock& block) { return m_pipeline->Convert(block); }

SampleConverter::Bytes SampleConverter::Finish() { return m_pipeline->Finish(); }

std::uint64_t SampleConverter::ClippedSamples() const { return m_pipeline->Packer().ClippedSamples(); }

bool SampleConverter::IsExact() const { return m_pipeline->Packer().IsExact(); }

std::uint64_t SampleConverter::OutputFrames(std::uint64_t frames, unsigned int from, unsigned int to) {
  return frames / from * to + (frames % from * to + from / 2) / from;
}
