#pragma once

/// MPEG audio (MP3), decoded by libmpg123: libsndfile uses the same library, but lets it write to standard error, and
/// stops at a guessed length where the file states none.

#include "Host/Audio/InputBytes.h"
#include "Host/Audio/SoundContainers.h"
#include "Host/Audio/SoundInput.h"

#include <mpg123.h>

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class MpegSource : public SoundSource {
 public:
  /// See OpenSound. With `data`, the sound lies there in a container. Throws NotASoundFile if no frame can be decoded.
  MpegSource(std::unique_ptr<InputBytes> bytes, Truncation truncation, SoundMetadata metadata,
             const std::optional<SampleData>& data = std::nullopt);

  const SoundFormat& Format() const override { return m_format; }
  const SoundMetadata& Metadata() const override { return m_metadata; }
  SampleBlock Read(SampleMemory& memory) override;
  std::vector<std::string> Notes() const override { return m_notes; }

  /// Whether the bytes begin as an MPEG audio frame does, with or without an ID3v2 tag in front.
  static bool IsMpeg(InputBytes& bytes);

 private:
  struct Callbacks;
  struct Deleter {
    void operator()(mpg123_handle* decoder) const { mpg123_delete(decoder); }
  };

  void Open();
  bool HasFormat() const;
  void HandleEnd(int result);

  std::unique_ptr<InputBytes> m_bytes;
  Truncation m_truncation;
  SoundFormat m_format;
  SoundMetadata m_metadata;
  std::vector<std::string> m_notes;
  std::uint64_t m_position = 0;           ///< of the next byte
  std::exception_ptr m_failure;           ///< what InputBytes threw within libmpg123's code
  std::optional<std::uint64_t> m_stated;  ///< bytes of sound that the container states
  std::uint64_t m_framesRead = 0;
  bool m_isAtEnd = false;
  std::unique_ptr<mpg123_handle, Deleter> m_decoder;  ///< last: it uses the others until it is gone
};
