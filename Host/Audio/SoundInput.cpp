#include "Host/Audio/SoundInput.h"

#include "Host/Audio/FlacSource.h"
#include "Host/Audio/InputBytes.h"
#include "Host/Audio/Metadata/ReadMetadata.h"
#include "Host/Audio/MpegSource.h"
#include "Host/Audio/OggFlac.h"
#include "Host/Audio/SndfileSource.h"
#include "Host/Audio/SoundContainers.h"

#include <utility>

std::unique_ptr<SoundSource> OpenSound(const std::string& path, Truncation truncation, MetadataUse metadataUse,
                                       const std::optional<RawFormat>& raw) {
  auto bytes = std::make_unique<InputBytes>(path);
  // No look at the bytes: samples without a header may begin like any format, and may be none at all.
  if (raw) {
    return std::make_unique<SndfileSource>(std::move(bytes), truncation, metadataUse, raw);
  }
  unsigned char first = 0;
  if (bytes->ReadAt(0, &first, 1) == 0) {
    throw NotASoundFile(bytes->Name() + ": is empty, not a sound file");
  }
  const bool isToBeRead = metadataUse == MetadataUse::kRead;
  // FLAC and MPEG go to their own decoders before libsndfile, which would accept both.
  std::shared_ptr<PageDamage> pageDamage;
  if (IsOggFlac(*bytes)) {
    pageDamage = std::make_shared<PageDamage>();
    bytes = ExtractFlac(std::move(bytes), truncation, pageDamage);
  }
  if (pageDamage || FlacSource::IsFlac(*bytes)) {
    SoundMetadata metadata = isToBeRead ? ReadFlacMetadata(*bytes) : SoundMetadata();
    return std::make_unique<FlacSource>(std::move(bytes), truncation, std::move(metadata), std::move(pageDamage));
  }
  if (MpegSource::IsMpeg(*bytes)) {
    SoundMetadata metadata = isToBeRead ? ReadMpegMetadata(*bytes) : SoundMetadata();
    return std::make_unique<MpegSource>(std::move(bytes), truncation, std::move(metadata));
  }
  if (const std::optional<SampleData> data = FindSampleData(*bytes); data && data->isMpeg) {
    SoundMetadata metadata;
    if (isToBeRead) {
      metadata.omitted.emplace_back("metadata of WAV files with MPEG audio: not supported");
    }
    return std::make_unique<MpegSource>(std::move(bytes), truncation, std::move(metadata), data);
  }
  return std::make_unique<SndfileSource>(std::move(bytes), truncation, metadataUse, std::nullopt);
}
