#include "Host/Audio/MpegSource.h"

#include "Host/Audio/Id3.h"

#include <fmt/format.h>

#include <array>
#include <new>
#include <string_view>
#include <utility>

namespace {

/// Sample frames in a block that Read() returns: 32 KiB of stereo.
constexpr std::size_t kBlockFrames = 4096;

/// Whether the file states its number of frames, in a Xing or Info header within its first frame. Otherwise libmpg123
/// guesses the length from the size of the file.
bool StatesLength(InputBytes& bytes) {
  // Layer III at 320 kbit/s and 32 kHz takes 1440 bytes, and one of padding.
  constexpr std::size_t kLongestFrame = 1441;
  std::array<char, kLongestFrame> frame{};
  const std::size_t size = bytes.ReadAt(AfterId3(bytes), frame.data(), frame.size());
  const std::string_view text(frame.data(), size);
  return text.find("Xing") != std::string_view::npos || text.find("Info") != std::string_view::npos;
}

/// The object that mpg123_open_handle was given.
MpegSource& Self(void* client) { return *static_cast<MpegSource*>(client); }

}  // namespace

/// libmpg123's input. Exceptions must not pass through its C code: m_failure keeps them until libmpg123 returns.
struct MpegSource::Callbacks {
  static ssize_t Read(void* client, void* to, size_t size) {
    MpegSource& self = Self(client);
    try {
      const std::size_t done = self.m_bytes->ReadAt(self.m_position, to, size);
      self.m_position += done;
      return static_cast<ssize_t>(done);
    } catch (...) {
      self.m_failure = std::current_exception();
      return -1;
    }
  }

  /// A file is read like a stream, so that both give the same samples where libmpg123 looks for the next frame.
  static off_t Seek(void*, off_t, int) { return -1; }
};

MpegSource::MpegSource(std::unique_ptr<InputBytes> bytes, Truncation truncation, SoundMetadata metadata,
                       const std::optional<SampleData>& data)
    : m_bytes(std::move(bytes)), m_truncation(truncation), m_metadata(std::move(metadata)) {
  if (data) {
    // Positions count from the samples on: libmpg123 sees bare MPEG audio, and no chunk behind it.
    m_bytes->ReplaceHead({}, data->start);
    m_stated = data->size;
    m_bytes->EndAt(m_stated.value_or(m_bytes->Length()));
  }
  mpg123_init();
  m_decoder.reset(mpg123_new(nullptr, nullptr));
  if (m_decoder == nullptr) {
    throw std::bad_alloc();
  }
  Open();
}

bool MpegSource::IsMpeg(InputBytes& bytes) {
  std::array<unsigned char, 2> sync{};
  return bytes.ReadAt(AfterId3(bytes), sync.data(), sync.size()) == sync.size() && sync[0] == 0xFF &&
         (sync[1] & 0xE0U) == 0xE0;
}

/// Finds the first frame and reads the format from it. Throws NotASoundFile where there is none.
void MpegSource::Open() {
  mpg123_handle* const decoder = m_decoder.get();
  // This reads the beginning, so it comes before a stream stops keeping it.
  const bool statesLength = StatesLength(*m_bytes);
  m_bytes->StopKeeping();
  // GAPLESS removes the samples that the encoder added at both ends. Nothing may be written to standard error, and the
  // sample rate must stay that of the file. libmpg123 takes minutes for an ID3v2 tag of many frames.
  mpg123_param(decoder, MPG123_ADD_FLAGS, MPG123_QUIET | MPG123_FORCE_FLOAT | MPG123_GAPLESS | MPG123_SKIP_ID3V2, 0);
  mpg123_param(decoder, MPG123_REMOVE_FLAGS, MPG123_AUTO_RESAMPLE, 0);
  long rate = 0;
  int channels = 0;
  int encoding = 0;
  const bool isOpen = mpg123_replace_reader_handle(decoder, Callbacks::Read, Callbacks::Seek, nullptr) == MPG123_OK &&
                      mpg123_open_handle(decoder, this) == MPG123_OK &&
                      mpg123_getformat(decoder, &rate, &channels, &encoding) == MPG123_OK;
  if (m_failure) {
    std::rethrow_exception(m_failure);
  }
  if (!isOpen || rate <= 0 || channels <= 0 || encoding != MPG123_ENC_FLOAT_32) {
    throw NotASoundFile(m_bytes->Name() + ": is not a sound file of a known format: no MPEG audio can be decoded");
  }
  m_format.name = m_bytes->Name();
  m_format.sampleRate = static_cast<unsigned int>(rate);
  m_format.channels = static_cast<unsigned int>(channels);
  m_format.sampleType = SampleType::kFloat;
  // A float holds 24 significant bits.
  m_format.significantBits = 24;
  if (const off_t length = mpg123_length(decoder); statesLength && length > 0) {
    m_format.frames = static_cast<std::uint64_t>(length);
  }
}

/// Whether the samples that libmpg123 decodes next have the sound's format, which must not change.
bool MpegSource::HasFormat() const {
  long rate = 0;
  int channels = 0;
  int encoding = 0;
  return mpg123_getformat(m_decoder.get(), &rate, &channels, &encoding) == MPG123_OK &&
         rate == static_cast<long>(m_format.sampleRate) && channels == static_cast<int>(m_format.channels) &&
         encoding == MPG123_ENC_FLOAT_32;
}

SampleBlock MpegSource::Read(SampleMemory& memory) {
  if (m_isAtEnd) {
    return {};
  }
  const std::size_t blockBytes = kBlockFrames * m_format.channels * sizeof(float);
  unsigned char* const samples = memory.Reserve(blockBytes);
  std::size_t size = 0;
  int result = mpg123_read(m_decoder.get(), samples, blockBytes, &size);
  // libmpg123 may announce a format that equals the sound's: decoding goes on. Any other ends the sound.
  while (result == MPG123_NEW_FORMAT && size == 0 && HasFormat()) {
    result = mpg123_read(m_decoder.get(), samples, blockBytes, &size);
  }
  if (m_failure) {
    std::rethrow_exception(std::exchange(m_failure, nullptr));
  }
  const std::size_t frames = size / sizeof(float) / m_format.channels;
  m_framesRead += frames;
  if (result != MPG123_OK) {
    m_isAtEnd = true;
    HandleEnd(result);
  }
  return {samples, frames};
}

/// Handles the end of the sound: throws Failure for an early end or damage, or adds a note where truncations are
/// allowed. `result` is what mpg123_read returned.
void MpegSource::HandleEnd(int result) {
  const std::uint64_t stated = m_format.frames.value_or(0);
  std::string complaint;
  // Truncation and damage both end the decoding. Truncation has ended the bytes, too.
  if (m_framesRead < stated && m_bytes->CameShort()) {
    complaint = "is incomplete: " + MissingText("sample frames", stated, stated - m_framesRead);
  } else if (m_bytes->PresentLength() < m_stated.value_or(0)) {
    complaint = "is incomplete: " + MissingText("bytes", *m_stated, *m_stated - m_bytes->PresentLength());
  } else if (result != MPG123_DONE) {
    complaint = fmt::format("is damaged after sample frame {}: {}", m_framesRead,
                            result == MPG123_NEW_FORMAT ? "the format changes" : mpg123_strerror(m_decoder.get()));
  }
  if (!complaint.empty() && m_truncation == Truncation::kRefused) {
    throw Failure(m_bytes->Name() + ": " + complaint);
  }
  if (!complaint.empty()) {
    m_notes.push_back("it " + complaint);
  } else if (!m_format.frames && !m_stated) {
    m_notes.emplace_back(kLengthIsNotStated);
  }
}
