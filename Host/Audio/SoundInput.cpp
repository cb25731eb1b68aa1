#include "Host/Audio/SoundInput.h"

#include "Host/Audio/FlacSource.h"
#include "Host/Audio/InputBytes.h"
#include "Host/Audio/MpegSource.h"
#include "Host/Audio/SndfileSource.h"

#include <utility>

std::unique_ptr<SoundSource> OpenSound(const std::string& path, Truncation truncation) {
  auto bytes = std::make_unique<InputBytes>(path);
  unsigned char first = 0;
  if (bytes->ReadAt(0, &first, 1) == 0) {
    throw NotASoundFile(bytes->Name() + ": is empty, not a sound file");
  }
  if (FlacSource::IsFlac(*bytes)) {
    return std::make_unique<FlacSource>(std::move(bytes), truncation);
  }
  if (MpegSource::IsMpeg(*bytes)) {
    return std::make_unique<MpegSource>(std::move(bytes), truncation);
  }
  return std::make_unique<SndfileSource>(std::move(bytes), truncation);
}
