#include "Host/Audio/FlacSource.h"

#include "Host/Audio/ByteNumbers.h"
#include "Host/Audio/ChannelOrder.h"
#include "Host/Audio/Id3.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <iterator>
#include <new>
#include <string_view>
#include <utility>

namespace {

constexpr std::uint64_t kLongestSearch = std::uint64_t{64} << 20;
constexpr std::size_t kLargestBlock = std::size_t{8} << 20;

/// Whether the comments take up to 1 MiB: for 16 MiB of empty ones libFLAC would allocate 200 MiB. Throws Failure
/// for more blocks than any program writes: zeros look like empty blocks, and libFLAC would read them to the end.
bool HasModestComments(InputBytes& bytes) {
  constexpr int kMostBlocks = 1024;
  int blocks = 0;
  constexpr std::size_t kMostComments = std::size_t{1} << 20;
  constexpr unsigned int kCommentType = 4;
  std::array<unsigned char, 4> block{};
  std::uint64_t position = AfterId3(bytes) + 4;
  for (bool isLast = false; !isLast; position += block.size() + ReadNumber(block.data() + 1, 3, true)) {
    if (bytes.ReadAt(position, block.data(), block.size()) != block.size()) {
      return false;
    }
    if (++blocks > kMostBlocks) {
      throw Failure(bytes.Name() + ": cannot be read as FLAC: too many blocks of metadata");
    }
    isLast = (block[0] & 0x80U) != 0;
    if ((block[0] & 0x7FU) == kCommentType && ReadNumber(block.data() + 1, 3, true) > kMostComments) {
      return false;
    }
  }
  return true;
}

/// Writes the samples of all channels frame by frame, shifted to the left. A channel at a time: a quarter faster.
template <class Sample>
void Interleave(const FLAC__int32* const channels[], std::size_t count, std::size_t frames, unsigned int shift,
                unsigned char* to) {
  for (std::size_t channel = 0; channel < count; ++channel) {
    for (std::size_t frame = 0; frame < frames; ++frame) {
      const auto sample = static_cast<Sample>(static_cast<std::uint32_t>(channels[channel][frame]) << shift);
      std::memcpy(to + (frame * count + channel) * sizeof sample, &sample, sizeof sample);
    }
  }
}

FlacSource& Self(void* client) { return *static_cast<FlacSource*>(client); }

}  // namespace

/// libFLAC's C code must not see exceptions.
struct FlacSource::Callbacks {
  static FLAC__StreamDecoderReadStatus Read(const FLAC__StreamDecoder*, FLAC__byte to[], std::size_t* size,
                                            void* client) {
    FlacSource& self = Self(client);
    if (self.IsSearchingTooFar()) {
      return FLAC__STREAM_DECODER_READ_STATUS_ABORT;
    }
    try {
      *size = self.m_bytes->ReadAt(self.m_position, to, *size);
      self.m_position += *size;
    } catch (...) {
      self.m_failure = std::current_exception();
      return FLAC__STREAM_DECODER_READ_STATUS_ABORT;
    }
    return *size == 0 ? FLAC__STREAM_DECODER_READ_STATUS_END_OF_STREAM : FLAC__STREAM_DECODER_READ_STATUS_CONTINUE;
  }

  static FLAC__StreamDecoderWriteStatus Write(const FLAC__StreamDecoder*, const FLAC__Frame* frame,
                                              const FLAC__int32* const channels[], void* client) {
    FlacSource& self = Self(client);
    try {
      self.TakeFrame(*frame, channels);
    } catch (...) {
      self.m_failure = std::current_exception();
      return FLAC__STREAM_DECODER_WRITE_STATUS_ABORT;
    }
    return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
  }

  static void Metadata(const FLAC__StreamDecoder*, const FLAC__StreamMetadata* metadata, void* client) {
    FlacSource& self = Self(client);
    try {
      if (metadata->type == FLAC__METADATA_TYPE_STREAMINFO) {
        self.TakeStreamInfo(metadata->data.stream_info);
      } else if (metadata->type == FLAC__METADATA_TYPE_VORBIS_COMMENT) {
        self.TakeChannelMask(metadata->data.vorbis_comment);
      }
    } catch (...) {
      self.m_failure = std::current_exception();
    }
  }

  static void Error(const FLAC__StreamDecoder*, FLAC__StreamDecoderErrorStatus status, void* client) {
    FlacSource& self = Self(client);
    if (self.m_damage == nullptr) {
      switch (status) {
        case FLAC__STREAM_DECODER_ERROR_STATUS_LOST_SYNC:
          self.m_damage = "bytes that are no frame";
          break;
        case FLAC__STREAM_DECODER_ERROR_STATUS_BAD_HEADER:
          self.m_damage = "a frame's header is damaged";
          break;
        case FLAC__STREAM_DECODER_ERROR_STATUS_FRAME_CRC_MISMATCH:
          self.m_damage = "a frame's checksum does not match";
          break;
        default:
          self.m_damage = "a frame cannot be decoded";
      }
    }
  }
};

FlacSource::FlacSource(std::unique_ptr<InputBytes> bytes, Truncation truncation, SoundMetadata metadata)
    : m_bytes(std::move(bytes)),
      m_truncation(truncation),
      m_metadata(std::move(metadata)),
      m_decoder(FLAC__stream_decoder_new()) {
  if (m_decoder == nullptr) {
    throw std::bad_alloc();
  }
  m_format.name = m_bytes->Name();
  FLAC__stream_decoder_set_md5_checking(m_decoder.get(), 1);
  if (HasModestComments(*m_bytes)) {
    FLAC__stream_decoder_set_metadata_respond(m_decoder.get(), FLAC__METADATA_TYPE_VORBIS_COMMENT);
  }
  m_bytes->StopKeeping();
  if (FLAC__stream_decoder_init_stream(m_decoder.get(), Callbacks::Read, nullptr, nullptr, nullptr, nullptr,
                                       Callbacks::Write, Callbacks::Metadata, Callbacks::Error,
                                       this) != FLAC__STREAM_DECODER_INIT_STATUS_OK) {
    throw std::bad_alloc();
  }
  ReadHeader();
}

bool FlacSource::IsFlac(InputBytes& bytes) {
  std::array<char, 4> magic{};
  return bytes.ReadAt(AfterId3(bytes), magic.data(), magic.size()) == magic.size() &&
         std::string_view(magic.data(), magic.size()) == "fLaC";
}

void FlacSource::ReadHeader() {
  FLAC__stream_decoder_process_until_end_of_metadata(m_decoder.get());
  if (m_failure) {
    std::rethrow_exception(m_failure);
  }
  if (m_format.channels == 0 || m_format.sampleRate == 0) {
    throw Failure(m_bytes->Name() + ": cannot be read as FLAC: the stream's description is missing or damaged");
  }
  m_isHeaderRead = true;
  m_lastFrameEnd = m_position;
}

void FlacSource::TakeStreamInfo(const FLAC__StreamMetadata_StreamInfo& info) {
  m_bits = info.bits_per_sample;
  m_format.sampleRate = info.sample_rate;
  m_format.channels = info.channels;
  m_format.sampleType = m_bits <= 16 ? SampleType::kInt16 : SampleType::kInt32;
  m_format.significantBits = m_bits <= 16 ? 16 : m_bits <= 20 ? 20 : m_bits <= 24 ? 24 : 32;
  m_format.speakers = DefinedSpeakers(m_format.channels);
  m_hasSum = std::any_of(std::begin(info.md5sum), std::end(info.md5sum), [](FLAC__byte byte) { return byte != 0; });
  if (info.total_samples != 0) {
    m_format.frames = info.total_samples;
  }
}

void FlacSource::TakeChannelMask(const FLAC__StreamMetadata_VorbisComment& comments) {
  constexpr std::string_view kMask = "WAVEFORMATEXTENSIBLE_CHANNEL_MASK=0x";
  for (FLAC__uint32 index = 0; index < comments.num_comments; ++index) {
    const FLAC__StreamMetadata_VorbisComment_Entry& entry = comments.comments[index];
    const std::string_view text(reinterpret_cast<const char*>(entry.entry), entry.length);
    std::uint32_t mask = 0;
    if (text.starts_with(kMask) &&
        std::from_chars(text.data() + kMask.size(), text.data() + text.size(), mask, 16).ec == std::errc()) {
      m_format.speakers = mask;
    }
  }
}

void FlacSource::TakeFrame(const FLAC__Frame& frame, const FLAC__int32* const channels[]) {
  const FLAC__FrameHeader& header = frame.header;
  if (header.channels != m_format.channels || header.bits_per_sample != m_bits ||
      header.sample_rate != m_format.sampleRate) {
    m_damage = m_damage == nullptr ? "the format changes" : m_damage;
    return;
  }
  // libFLAC replaces damaged frames by silence, all of them at once.
  const std::size_t frameSize = SizeOf(m_format.sampleType) * m_format.channels;
  if ((m_blockFrames + header.blocksize) * frameSize > kLargestBlock) {
    throw Failure(fmt::format("{}: is damaged after sample frame {}: too much is missing there", m_bytes->Name(),
                              m_framesDecoded - m_blockFrames));
  }
  const bool isShort = m_format.sampleType == SampleType::kInt16;
  const unsigned int shift = (isShort ? 16 : 32) - m_bits;
  m_samples.resize((m_blockFrames + header.blocksize) * frameSize / sizeof(std::int32_t) + 1);
  auto* const bytes = reinterpret_cast<unsigned char*>(m_samples.data()) + m_blockFrames * frameSize;
  if (isShort) {
    Interleave<std::uint16_t>(channels, m_format.channels, header.blocksize, shift, bytes);
  } else {
    Interleave<std::uint32_t>(channels, m_format.channels, header.blocksize, shift, bytes);
  }
  m_blockFrames += header.blocksize;
  m_framesDecoded += header.blocksize;
  m_lastFrameEnd = m_position;
}

SampleBlock FlacSource::Read() {
  m_blockFrames = 0;
  while (m_blockFrames == 0 && DecodeFrame()) {
  }
  if (m_blockFrames == 0) {
    Finish();
  }
  return {m_samples.data(), m_blockFrames};
}

/// Decodes the next frame, if it is whole; false at the end.
bool FlacSource::DecodeFrame() {
  const bool isAlive = FLAC__stream_decoder_process_single(m_decoder.get()) != 0;
  if (m_failure) {
    std::rethrow_exception(std::exchange(m_failure, nullptr));
  }
  const bool isComplete = m_format.frames && m_framesDecoded >= *m_format.frames;
  // Bytes after the last sample do not matter, and at the end of a truncated file Finish() tells how much is missing.
  if (m_damage != nullptr && m_truncation == Truncation::kRefused && !isComplete && !m_bytes->CameShort()) {
    throw Failure(fmt::format("{}: is damaged after sample frame {}: {}", m_bytes->Name(), m_framesDecoded, m_damage));
  }
  return isAlive && FLAC__stream_decoder_get_state(m_decoder.get()) < FLAC__STREAM_DECODER_END_OF_STREAM;
}

/// libFLAC searches for the end of a damaged frame, or for the next one; both may be far away in a sparse file.
bool FlacSource::IsSearchingTooFar() {
  const bool isComplete = m_format.frames && m_framesDecoded >= *m_format.frames;
  const bool isFar = m_isHeaderRead && m_position - m_lastFrameEnd > kLongestSearch;
  if (isFar && !isComplete && m_damage == nullptr) {
    m_damage = "a frame does not end";
  }
  return isFar || (m_damage != nullptr && m_truncation == Truncation::kRefused && !isComplete);
}

void FlacSource::Finish() {
  if (std::exchange(m_isFinished, true)) {
    return;
  }
  const bool isMatching = FLAC__stream_decoder_finish(m_decoder.get()) != 0;
  const std::uint64_t stated = m_format.frames.value_or(m_framesDecoded);
  if (m_framesDecoded < stated) {
    RefuseOrNote(fmt::format("is incomplete: the file promises {} sample frames of sound, {} {} missing", stated,
                             stated - m_framesDecoded, stated - m_framesDecoded == 1 ? "is" : "are"));
  } else if (!isMatching && m_damage == nullptr) {
    RefuseOrNote("is damaged: its samples do not match the MD5 sum in its header");
  } else if (!isMatching) {
    RefuseOrNote(fmt::format("is damaged: {}; damaged frames are replaced by silence", m_damage));
  } else if (!m_format.frames && !m_hasSum) {
    m_notes.emplace_back(kLengthIsNotStated);
  }
}

void FlacSource::RefuseOrNote(const std::string& complaint) {
  if (m_truncation == Truncation::kRefused) {
    throw Failure(m_bytes->Name() + ": " + complaint);
  }
  m_notes.push_back("it " + complaint);
}

std::vector<std::string> FlacSource::Notes() const { return m_notes; }
