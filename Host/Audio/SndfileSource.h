#pragma once

/// A sound that libsndfile decodes. The class adds what libsndfile leaves to its callers: it notices sounds that are
/// shorter than their header says, reads streams, brings the channels into one order, and names the file in errors.

#include "Host/Audio/InputBytes.h"
#include "Host/Audio/SndfileIo.h"
#include "Host/Audio/SoundContainers.h"
#include "Host/Audio/SoundInput.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class SndfileSource : public SoundSource {
 public:
  /// See OpenSound. `bytes` are at least one.
  SndfileSource(std::unique_ptr<InputBytes> bytes, Truncation truncation, MetadataUse metadataUse,
                const std::optional<RawFormat>& raw);

  const SoundFormat& Format() const override { return m_format; }
  const SoundMetadata& Metadata() const override { return m_metadata; }
  SampleBlock Read(SampleMemory& memory) override;
  std::vector<std::string> Notes() const override;

 private:
  void FindSamples();
  void RefuseUnreadableStream();
  void CorrectHeader();
  SF_INFO Open();
  void ReadFormat(const SF_INFO& info);
  sf_count_t ReadSamples(void* to, sf_count_t frames);
  std::uint64_t FramesPresent() const;
  sf_count_t HandleCutStream(sf_count_t frames);
  void ReadToStatedEnd();
  void CheckRawEnd();
  void HandleShortRead(bool isLast);
  void NoteMissing(std::string text);

  std::unique_ptr<InputBytes> m_bytes;
  Truncation m_truncation;
  std::optional<RawFormat> m_raw;
  SndfileIo m_io;
  std::optional<SampleData> m_data;
  SoundFile m_file;
  SoundFormat m_format;
  SoundMetadata m_metadata;
  std::string m_missing;  ///< empty as long as nothing is missing
  bool m_lacksLength = false;
  bool m_hasBlocksOfOneSize = false;
  std::vector<std::size_t> m_order;  ///< empty when the channels lie in order
  std::size_t m_blockFrames = 0;
  std::uint64_t m_framesRead = 0;
};
