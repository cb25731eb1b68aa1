#include "Host/Audio/SoundInput.h"

#include "Host/Audio/ChannelOrder.h"
#include "Host/Audio/InputBytes.h"
#include "Host/Audio/MpegLength.h"
#include "Host/Audio/SoundContainers.h"
#include "Host/Audio/VirtualFile.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Utf8.h"

#include <sndfile.h>
#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t kBlockBytes = std::size_t{64} << 10;
constexpr std::size_t kMpegFrame = 1152;

struct Representation {
  SampleType type;
  unsigned int significantBits;
};

/// The smallest representation that holds all that the subtype's decoder gives.
Representation RepresentationOf(int format) {
  switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_ALAC_20:
      return {SampleType::kInt32, 20};
    case SF_FORMAT_PCM_24:
    case SF_FORMAT_ALAC_24:
    case SF_FORMAT_DWVW_24:
    case SF_FORMAT_DWVW_N:
      return {SampleType::kInt32, 24};
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_ALAC_32:
      return {SampleType::kInt32, 32};
    case SF_FORMAT_FLOAT:
    case SF_FORMAT_VORBIS:
    case SF_FORMAT_OPUS:
    case SF_FORMAT_MPEG_LAYER_I:
    case SF_FORMAT_MPEG_LAYER_II:
    case SF_FORMAT_MPEG_LAYER_III:
      return {SampleType::kFloat, 24};
    case SF_FORMAT_DOUBLE:
      return {SampleType::kDouble, 53};
    default:
      return {SampleType::kInt16, 16};
  }
}

bool IsMpeg(const SF_INFO& info) { return (info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_MPEG; }

SoundTags TagsOf(SNDFILE* file) {
  const auto text = [file](int which) {
    const char* value = sf_get_string(file, which);
    return value == nullptr ? std::string() : ToUtf8(value);
  };
  return {text(SF_STR_TITLE),   text(SF_STR_ARTIST), text(SF_STR_ALBUM),
          text(SF_STR_COMMENT), text(SF_STR_DATE),   text(SF_STR_TRACKNUMBER)};
}

std::string PromiseText(const char* unit, std::uint64_t promised, std::uint64_t missing) {
  return "the file promises " + std::to_string(promised) + " " + unit + " of sound, " + std::to_string(missing) +
         (missing == 1 ? " is missing" : " are missing");
}

std::string WithoutFullStop(std::string text) {
  while (!text.empty() && (text.back() == '.' || text.back() == ' ' || text.back() == '\n')) {
    text.pop_back();
  }
  return text;
}

}  // namespace

class SoundInput::Decoder {
 public:
  Decoder(const std::string& path, Truncation truncation);

  SampleBlock Read();

  InputBytes bytes;
  SoundFormat format;
  SoundTags tags;
  std::string missingText;

 private:
  void PrepareBytes();
  void Open();
  void ReadFormat(const SF_INFO& info);
  sf_count_t ReadSamples(sf_count_t frames);
  void HandleShortRead(bool isLast);
  void NoteMissing(std::string text);

  Truncation m_truncation;
  VirtualFile m_virtualFile;
  std::optional<SampleData> m_data;
  SoundFile m_file;
  std::vector<std::size_t> m_order;  ///< empty when the channels lie in order
  std::vector<double> m_block;       ///< for any sample type: aligned for all
  std::size_t m_blockFrames = 0;
  std::uint64_t m_framesRead = 0;
};

SoundInput::Decoder::Decoder(const std::string& path, Truncation truncation)
    : bytes(path), m_truncation(truncation), m_virtualFile(bytes) {
  PrepareBytes();
  Open();
  tags = TagsOf(m_file.get());
  bytes.StopKeeping();
  // A cut MPEG frame costs libsndfile's whole read.
  const std::size_t fittingFrames = kBlockBytes / (SizeOf(format.sampleType) * format.channels);
  m_blockFrames = m_virtualFile.IsEndHidden() ? kMpegFrame : std::max<std::size_t>(1, fittingFrames);
  const std::size_t blockBytes = m_blockFrames * format.channels * SizeOf(format.sampleType);
  m_block.resize((blockBytes + sizeof(double) - 1) / sizeof(double));
}

/// Sets right what libsndfile would misread, and refuses what it would not notice.
void SoundInput::Decoder::PrepareBytes() {
  unsigned char magic[4]{};
  const std::size_t magicSize = bytes.ReadAt(0, magic, sizeof magic);
  if (magicSize == 0) {
    throw NoSoundFile(bytes.Name() + ": is empty, not a sound file");
  }
  m_data = FindSampleData(bytes);
  if (bytes.IsStream() && !m_data && std::string_view(reinterpret_cast<char*>(magic), magicSize) != "fLaC") {
    throw Failure(bytes.Name() +
                  ": no sound that can be read from a pipe (WAV, W64, AIFF, CAF, AU or FLAC); save it "
                  "to a file first");
  }
  if (!m_data) {
    return;
  }
  unsigned char sound = 0;
  if (bytes.IsStream() && m_data->size == std::uint64_t{0} && bytes.ReadAt(m_data->start, &sound, 1) != 0) {
    throw Failure(bytes.Name() +
                  ": its header was not made for a pipe: no sound, it says, but more follows; save it to "
                  "a file first");
  }
  const std::uint64_t available =
      bytes.IsStream() ? InputBytes::kEndless / 2 : bytes.Length() - std::min(bytes.Length(), m_data->start);
  if (m_data->isW64 && m_data->size) {
    // libsndfile takes all that follows for samples.
    bytes.EndAt(m_data->start + *m_data->size);
  }
  if (!m_data->size && m_data->isLittleEndianWav) {
    SetWavSize(bytes, *m_data, available);
  } else if (!m_data->size && m_data->isCaf) {
    SetCafSize(bytes, *m_data, available);
  } else if (m_data->size && *m_data->size > available) {
    NoteMissing(PromiseText("bytes", *m_data->size, *m_data->size - available));
    if (m_data->isCaf) {
      SetCafSize(bytes, *m_data, available);
    }
  }
}

void SoundInput::Decoder::Open() {
  SF_INFO info{};
  m_file = m_virtualFile.Open(info);
  if (m_file && IsMpeg(info) && !StatesMpegLength(bytes)) {
    // libsndfile would stop at a guessed length, which may lie before the end, unless it cannot find one to guess from.
    m_virtualFile.HideEnd();
    m_file.reset();
    info = {};
    m_file = m_virtualFile.Open(info);
  }
  m_virtualFile.RethrowFailure();
  if (!m_file && m_virtualFile.OpenError() == SF_ERR_UNRECOGNISED_FORMAT) {
    throw NoSoundFile(bytes.Name() + ": is not a sound file of a known format");
  }
  if (!m_file) {
    // The text for a decoder without a single frame to decode speaks of a file that does not exist.
    const std::string text = WithoutFullStop(m_virtualFile.OpenErrorText());
    const bool isMisleading = text.find("does not exist") != std::string::npos;
    throw Failure(bytes.Name() + ": cannot be read as a sound file: " + (isMisleading ? "no sound is found" : text));
  }
  if (info.channels <= 0 || info.samplerate <= 0) {
    throw Failure(bytes.Name() + ": is a sound file without channels or without a sample rate");
  }
  ReadFormat(info);
}

void SoundInput::Decoder::ReadFormat(const SF_INFO& info) {
  const Representation representation = RepresentationOf(info.format);
  format.name = bytes.Name();
  format.sampleRate = static_cast<unsigned int>(info.samplerate);
  format.channels = static_cast<unsigned int>(info.channels);
  format.sampleType = representation.type;
  format.significantBits = representation.significantBits;
  // The largest number stands for an unknown one.
  const bool isOpenStream = bytes.IsStream() && m_data && m_data->size.value_or(0) == 0;
  if (info.frames >= 0 && info.frames < SF_COUNT_MAX && !isOpenStream) {
    format.frames = static_cast<std::uint64_t>(info.frames);
  }
  m_order = WavChannelOrder(m_file.get(), info);
}

sf_count_t SoundInput::Decoder::ReadSamples(sf_count_t frames) {
  void* to = m_block.data();
  switch (format.sampleType) {
    case SampleType::kInt16:
      return sf_readf_short(m_file.get(), static_cast<short*>(to), frames);
    case SampleType::kInt32:
      return sf_readf_int(m_file.get(), static_cast<int*>(to), frames);
    case SampleType::kFloat:
      return sf_readf_float(m_file.get(), static_cast<float*>(to), frames);
    case SampleType::kDouble:
      break;
  }
  return sf_readf_double(m_file.get(), static_cast<double*>(to), frames);
}

SampleBlock SoundInput::Decoder::Read() {
  const auto wanted = static_cast<sf_count_t>(m_blockFrames);
  const sf_count_t frames = std::max<sf_count_t>(0, ReadSamples(wanted));
  m_virtualFile.RethrowFailure();
  m_framesRead += static_cast<std::uint64_t>(frames);
  if (frames < wanted) {
    HandleShortRead(frames == 0);
  }
  const SampleBlock block{m_block.data(), static_cast<std::size_t>(frames)};
  if (!m_order.empty()) {
    ReorderChannels(m_block.data(), block.frames, SizeOf(format.sampleType), m_order);
  }
  return block;
}

/// After a read that came short: the end, an early end, or damage.
void SoundInput::Decoder::HandleShortRead(bool isLast) {
  const bool isError = sf_error(m_file.get()) != SF_ERR_NO_ERROR;
  const bool isMissing = (isLast || isError) && format.frames && m_framesRead < *format.frames;
  if (isMissing && bytes.CameShort()) {
    NoteMissing(PromiseText("sample frames", *format.frames, *format.frames - m_framesRead));
  } else if (isError && bytes.CameShort()) {
    // MPEG streams promise nothing, and many end in a cut frame or in something that is none.
    if (!m_virtualFile.IsEndHidden()) {
      NoteMissing("it ends in the middle of a piece of sound, after sample frame " + std::to_string(m_framesRead));
    }
  } else if (isError || isMissing) {
    throw Failure(bytes.Name() + ": is damaged behind sample frame " + std::to_string(m_framesRead) +
                  (isError ? ": " + WithoutFullStop(sf_strerror(m_file.get())) : ", the sound goes no further"));
  }
}

void SoundInput::Decoder::NoteMissing(std::string text) {
  if (m_truncation == Truncation::kRefused) {
    throw Failure(bytes.Name() + ": is incomplete: " + text);
  }
  missingText = std::move(text);
}

SoundInput::SoundInput(const std::string& path, Truncation truncation)
    : m_decoder(std::make_unique<Decoder>(path, truncation)) {}

SoundInput::~SoundInput() = default;

const SoundFormat& SoundInput::Format() const { return m_decoder->format; }

const SoundTags& SoundInput::Tags() const { return m_decoder->tags; }

SampleBlock SoundInput::Read() { return m_decoder->Read(); }

const std::string& SoundInput::MissingText() const { return m_decoder->missingText; }
