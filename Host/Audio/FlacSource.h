#pragma once

/// A FLAC sound, decoded by libFLAC: unlike libsndfile it compares the samples with the MD5 sum in the header, and goes
/// on after damaged frames.

#include "Host/Audio/InputBytes.h"
#include "Host/Audio/OggFlac.h"
#include "Host/Audio/SoundSource.h"
#include "Host/Audio/Truncation.h"

#include <FLAC/stream_decoder.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <vector>

class FlacSource : public SoundSource {
 public:
  /// See OpenSound. The sound is damaged if a frame of it is, or if its samples do not match the MD5 sum. If
  /// truncations are allowed, damaged frames are replaced by silence of their length and Notes() says what is damaged.
  /// `pageDamage` is that of the Ogg stream from which the bytes come, if they do: its end is marked.
  FlacSource(std::unique_ptr<InputBytes> bytes, Truncation truncation, SoundMetadata metadata,
             std::shared_ptr<const PageDamage> pageDamage);

  const SoundFormat& Format() const override { return m_format; }
  const SoundMetadata& Metadata() const override { return m_metadata; }
  SampleBlock Read(SampleMemory& memory) override;
  std::vector<std::string> Notes() const override;

  /// Whether the bytes are FLAC, with or without an ID3v2 tag in front.
  static bool IsFlac(InputBytes& bytes);

 private:
  struct Callbacks;
  struct Deleter {
    void operator()(FLAC__StreamDecoder* decoder) const { FLAC__stream_decoder_delete(decoder); }
  };

  void ReadHeader();
  void TakeStreamInfo(const FLAC__StreamMetadata_StreamInfo& info);
  void TakeChannelMask(const FLAC__StreamMetadata_VorbisComment& comments);
  void TakeFrame(const FLAC__Frame& frame, const FLAC__int32* const channels[]);
  bool DecodeFrame();
  bool IsComplete() const { return m_format.frames && m_framesDecoded >= *m_format.frames; }
  bool IsSearchingTooFar();
  void Finish();
  void RefuseOrNote(const std::string& complaint);

  std::unique_ptr<InputBytes> m_bytes;
  Truncation m_truncation;
  std::shared_ptr<const PageDamage> m_pageDamage;
  SoundFormat m_format;
  SoundMetadata m_metadata;
  std::vector<std::string> m_notes;
  std::uint64_t m_position = 0;      ///< of the next byte
  std::uint64_t m_lastFrameEnd = 0;  ///< position when the last frame was decoded
  std::exception_ptr m_failure;      ///< what InputBytes threw within libFLAC's code
  const char* m_damage = nullptr;    ///< libFLAC's word for the first damage
  bool m_isDamagedInside = false;    ///< frames follow the damage
  bool m_isHeaderRead = false;
  bool m_hasSum = false;  ///< the header has an MD5 sum of the samples
  bool m_isFinished = false;
  SampleMemory* m_block = nullptr;  ///< where frames are decoded to, during Read()
  std::size_t m_blockFrames = 0;    ///< frames in m_block
  std::uint64_t m_framesDecoded = 0;
  unsigned int m_bits = 0;
  std::unique_ptr<FLAC__StreamDecoder, Deleter> m_decoder;  ///< last: it uses the others until it is gone
};
