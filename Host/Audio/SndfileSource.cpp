#include "Host/Audio/SndfileSource.h"

#include "Host/Audio/ChannelOrder.h"
#include "Host/Audio/Metadata/ReadMetadata.h"
#include "Host/Audio/OggEnd.h"
#include "Host/Audio/StatedLength.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace {

constexpr std::size_t kBlockBytes = std::size_t{64} << 10;
constexpr std::uint64_t kWavGsmBlock = 65;  // bytes, of
constexpr std::uint64_t kWavGsmFrames = 320;

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
      return {SampleType::kFloat, 24};
    case SF_FORMAT_DOUBLE:
      return {SampleType::kDouble, 53};
    default:
      return {SampleType::kInt16, 16};
  }
}

/// Whether each sample has bytes of its own.
bool IsUncompressed(const SF_INFO& info) {
  switch (info.format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
    case SF_FORMAT_PCM_16:
    case SF_FORMAT_PCM_24:
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_FLOAT:
    case SF_FORMAT_DOUBLE:
    case SF_FORMAT_ULAW:
    case SF_FORMAT_ALAW:
      return true;
    default:
      return false;
  }
}

/// Whether the samples are compressed to blocks of one size each: libsndfile's decoders for these do not stop where the
/// bytes end, but go on with silence or with what is left in their buffers.
bool HasBlocksOfOneSize(const SF_INFO& info) {
  switch (info.format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_IMA_ADPCM:
    case SF_FORMAT_MS_ADPCM:
    case SF_FORMAT_GSM610:
    case SF_FORMAT_G721_32:
    case SF_FORMAT_G723_24:
    case SF_FORMAT_G723_40:
    case SF_FORMAT_NMS_ADPCM_16:
    case SF_FORMAT_NMS_ADPCM_24:
    case SF_FORMAT_NMS_ADPCM_32:
      return true;
    default:
      return false;
  }
}

std::string PromiseText(const char* unit, std::uint64_t promised, std::uint64_t missing) {
  return fmt::format("the file promises {} {} of sound, {} {} missing", promised, unit, missing,
                     missing == 1 ? "is" : "are");
}

std::string WithoutFullStop(std::string text) {
  while (!text.empty() && (text.back() == '.' || text.back() == ' ' || text.back() == '\n')) {
    text.pop_back();
  }
  return text;
}

}  // namespace

SndfileSource::SndfileSource(std::unique_ptr<InputBytes> bytes, Truncation truncation, MetadataUse metadataUse,
                             const std::optional<RawFormat>& raw)
    : m_bytes(std::move(bytes)), m_truncation(truncation), m_raw(raw), m_io(*m_bytes) {
  if (!m_raw) {
    FindSamples();
  }
  const SF_INFO info = Open();
  if (metadataUse == MetadataUse::kRead && !m_raw) {
    m_metadata = ReadMetadata(m_file.get(), info, m_io, *m_bytes);
  }
  m_bytes->StopKeeping();
  AllocateBlock();
}

void SndfileSource::AllocateBlock() {
  const std::size_t fittingFrames = kBlockBytes / (SizeOf(m_format.sampleType) * m_format.channels);
  m_blockFrames = std::max<std::size_t>(1, fittingFrames);
  const std::size_t blockBytes = m_blockFrames * m_format.channels * SizeOf(m_format.sampleType);
  m_block.resize((blockBytes + sizeof(double) - 1) / sizeof(double));
}

/// Corrects headers that libsndfile would misread, and refuses faults that it would not notice.
void SndfileSource::FindSamples() {
  m_data = FindSampleData(*m_bytes);
  if (m_bytes->IsStream()) {
    RefuseUnreadableStream();
  }
  if (m_data) {
    CorrectHeader();
  } else if (!m_bytes->IsStream()) {
    m_lacksLength = LacksLength(*m_bytes);
    if (LacksOggEnd(*m_bytes)) {
      NoteMissing("the Ogg stream has no last page");
    }
    const std::uint64_t stated = StatedFileLength(*m_bytes).value_or(0);
    if (stated > m_bytes->Length()) {
      NoteMissing(PromiseText("bytes", stated, stated - m_bytes->Length()));
    }
  }
}

void SndfileSource::RefuseUnreadableStream() {
  if (!m_data || !m_data->isStreamable) {
    throw Failure(
        m_bytes->Name() +
        ": is not in a format that can be read from a pipe (WAV, W64, AIFF, CAF, AU, FLAC or MP3); save it to a "
        "file first");
  }
  unsigned char sample = 0;
  if (m_data && m_data->size == std::uint64_t{0} && m_bytes->ReadAt(m_data->start, &sample, 1) != 0) {
    throw Failure(m_bytes->Name() +
                  ": the header says that there are no samples, but more bytes follow; save it to a file first");
  }
  // Some of libsndfile's decoders for compressed samples read all of them when opened: show it a short file.
  SF_INFO info{};
  if (m_data && !m_data->size && m_io.Open(info, m_data->start + kBlockBytes) && !IsUncompressed(info)) {
    throw Failure(m_bytes->Name() +
                  ": compressed samples whose length the header leaves open cannot be read from a pipe; save it to a "
                  "file first");
  }
  m_io.RethrowFailure();
}

void SndfileSource::CorrectHeader() {
  const std::uint64_t available =
      m_bytes->IsStream() ? InputBytes::kEndless / 2 : m_bytes->Length() - std::min(m_bytes->Length(), m_data->start);
  if (m_data->size && (m_bytes->IsStream() || m_data->endIsMisread)) {
    // In a stream, libsndfile's decoders for compressed samples rely on an end too.
    m_bytes->EndAt(m_data->start + *m_data->size);
  }
  if (!m_data->size && m_data->isLittleEndianWav) {
    SetWavSize(*m_bytes, *m_data, available);
  } else if (!m_data->size && m_data->isCaf) {
    SetCafSize(*m_bytes, *m_data, available);
  } else if (m_data->size && *m_data->size > available) {
    NoteMissing(PromiseText("bytes", *m_data->size, *m_data->size - available));
    SF_INFO info{};
    if (m_data->isCaf) {
      SetCafSize(*m_bytes, *m_data, available);
    } else if (m_io.Open(info) && HasBlocksOfOneSize(info)) {
      m_bytes->Lengthen(m_data->start + *m_data->size);
    }
    m_io.RethrowFailure();
  } else if (!m_bytes->IsStream() && m_data->start > m_bytes->Length()) {
    NoteMissing("it ends within its header");
  }
}

SF_INFO SndfileSource::Open() {
  SF_INFO info{};
  if (m_raw) {
    info.samplerate = static_cast<int>(m_raw->sampleRate);
    info.channels = static_cast<int>(m_raw->channels);
    info.format = m_raw->format;
  }
  m_file = m_io.Open(info);
  m_io.RethrowFailure();
  if (!m_file && m_io.OpenError() == SF_ERR_UNRECOGNISED_FORMAT) {
    throw NotASoundFile(m_bytes->Name() + ": is not a sound file of a known format");
  }
  if (!m_file) {
    // For a file without a single decodable frame libsndfile says that the file does not exist.
    const std::string text = WithoutFullStop(m_io.OpenErrorText());
    const bool isMisleading = text.find("does not exist") != std::string::npos;
    throw Failure(m_bytes->Name() +
                  ": cannot be read as a sound file: " + (isMisleading ? "it contains no sound" : text));
  }
  if (info.channels <= 0 || info.samplerate <= 0) {
    throw Failure(m_bytes->Name() + ": has no channels or no sample rate");
  }
  const int encoding = info.format & SF_FORMAT_SUBMASK;
  if (m_bytes->IsStream() &&
      (encoding == SF_FORMAT_DWVW_12 || encoding == SF_FORMAT_DWVW_16 || encoding == SF_FORMAT_DWVW_24)) {
    // The decoder does not stop where the bytes end.
    throw Failure(m_bytes->Name() + ": DWVW samples cannot be read from a pipe; save it to a file first");
  }
  ReadFormat(info);
  return info;
}

void SndfileSource::ReadFormat(const SF_INFO& info) {
  const Representation representation = RepresentationOf(info.format);
  m_format.name = m_bytes->Name();
  m_format.sampleRate = static_cast<unsigned int>(info.samplerate);
  m_format.channels = static_cast<unsigned int>(info.channels);
  m_format.sampleType = representation.type;
  m_format.significantBits = representation.significantBits;
  m_isUncompressed = IsUncompressed(info);
  // libsndfile's SF_COUNT_MAX means unknown.
  const bool isOpenStream = m_bytes->IsStream() && (m_raw || (m_data && m_data->size.value_or(0) == 0));
  if (info.frames >= 0 && info.frames < SF_COUNT_MAX && !isOpenStream) {
    m_format.frames = static_cast<std::uint64_t>(info.frames);
  }
  if ((info.format & (SF_FORMAT_TYPEMASK | SF_FORMAT_SUBMASK)) == (SF_FORMAT_WAV | SF_FORMAT_GSM610) && m_data &&
      m_data->size) {
    // libsndfile takes a padding byte for another block.
    m_format.frames = *m_data->size / kWavGsmBlock * kWavGsmFrames;
  }
  m_hasBlocksOfOneSize = HasBlocksOfOneSize(info);
  if (m_hasBlocksOfOneSize && !m_bytes->IsStream() && m_bytes->EndedEarly()) {
    m_format.frames = FramesPresent();
  }
  ChannelOrder order = WavChannelOrder(m_file.get(), info);
  m_order = std::move(order.sources);
  m_format.speakers = m_data && m_data->speakers ? m_data->speakers : order.speakers;
}

sf_count_t SndfileSource::ReadSamples(sf_count_t frames) {
  void* to = m_block.data();
  switch (m_format.sampleType) {
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

SampleBlock SndfileSource::Read() {
  const std::uint64_t left =
      m_format.frames ? *m_format.frames - std::min(*m_format.frames, m_framesRead) : m_blockFrames;
  const auto wanted = static_cast<sf_count_t>(std::min<std::uint64_t>(left, m_blockFrames));
  sf_count_t frames = std::max<sf_count_t>(0, ReadSamples(wanted));
  m_io.RethrowFailure();
  const bool hasStatedEnd = m_bytes->IsStream() && m_data && m_data->size;
  if (hasStatedEnd && frames == 0) {
    ReadToStatedEnd();
  }
  const bool isCutStream = hasStatedEnd && m_bytes->EndedEarly();
  frames = isCutStream ? HandleCutStream(frames) : frames;
  m_framesRead += static_cast<std::uint64_t>(frames);
  if (frames < wanted && !isCutStream) {
    HandleShortRead(frames == 0);
  }
  if (m_raw && frames == 0) {
    CheckRawEnd();
  }
  const SampleBlock block{m_block.data(), static_cast<std::size_t>(frames)};
  if (!m_order.empty()) {
    ReorderChannels(m_block.data(), block.frames, SizeOf(m_format.sampleType), m_order);
  }
  return block;
}

/// The sample frames that the present bytes hold of a sound with blocks of one size.
std::uint64_t SndfileSource::FramesPresent() const {
  __extension__ using Wide = unsigned __int128;
  const std::uint64_t present = m_bytes->PresentLength() - std::min(m_bytes->PresentLength(), m_data->start);
  const std::uint64_t stated = std::max<std::uint64_t>(*m_data->size, 1);
  return static_cast<std::uint64_t>(Wide{m_format.frames.value_or(0)} * std::min(present, stated) / stated);
}

/// Notes what is missing of a stream that has ended too early. Of the `frames` last read, those that its bytes hold.
sf_count_t SndfileSource::HandleCutStream(sf_count_t frames) {
  const std::uint64_t present = m_bytes->PresentLength() - std::min(m_bytes->PresentLength(), m_data->start);
  NoteMissing(PromiseText("bytes", *m_data->size, *m_data->size - present));
  const std::uint64_t most = m_hasBlocksOfOneSize ? FramesPresent() : m_framesRead + static_cast<std::uint64_t>(frames);
  return std::min(frames, static_cast<sf_count_t>(most - std::min(most, m_framesRead)));
}

/// Reads a stream to the end of its samples, behind the last of them that can be decoded, so that one that ends too early
/// is noticed.
void SndfileSource::ReadToStatedEnd() {
  constexpr std::uint64_t kMostBytes = std::uint64_t{64} << 20;
  const std::uint64_t end = m_bytes->PresentLength() + kMostBytes;
  std::vector<unsigned char> rest(kBlockBytes);
  while (m_bytes->PresentLength() < end &&
         m_bytes->ReadAt(m_bytes->PresentLength(), rest.data(), rest.size()) == rest.size()) {
  }
}

void SndfileSource::CheckRawEnd() {
  const std::uint64_t length = m_bytes->PresentLength();
  if (const std::uint64_t rest = length % m_raw->frameSize; rest != 0) {
    NoteMissing(fmt::format("its last {} {} no sample frame of {} bytes", rest, rest == 1 ? "byte is" : "bytes are",
                            m_raw->frameSize));
  }
}

/// Handles a read that returned fewer frames than wanted: the end, an early end, or damage.
void SndfileSource::HandleShortRead(bool isLast) {
  const bool isError = sf_error(m_file.get()) != SF_ERR_NO_ERROR;
  const bool isMissing = (isLast || isError) && m_format.frames && m_framesRead < *m_format.frames;
  if (isMissing && m_bytes->CameShort()) {
    NoteMissing(PromiseText("sample frames", *m_format.frames, *m_format.frames - m_framesRead));
  } else if (isError && m_bytes->CameShort()) {
    NoteMissing("it ends within a block of compressed sound, after sample frame " + std::to_string(m_framesRead));
  } else if (isError || isMissing) {
    throw Failure(m_bytes->Name() + ": is damaged after sample frame " + std::to_string(m_framesRead) +
                  (isError ? ": " + WithoutFullStop(sf_strerror(m_file.get())) : ", no more sound can be decoded"));
  }
}

void SndfileSource::NoteMissing(std::string text) {
  if (m_truncation == Truncation::kRefused) {
    throw Failure(m_bytes->Name() + ": is incomplete: " + text);
  }
  m_missing = std::move(text);
}

std::vector<std::string> SndfileSource::Notes() const {
  std::vector<std::string> notes;
  if (!m_missing.empty()) {
    notes.push_back(m_missing);
  }
  if (m_lacksLength || (m_data && !m_data->size)) {
    notes.emplace_back(kLengthIsNotStated);
  }
  if (!m_order.empty()) {
    notes.emplace_back("channels are reordered");
  }
  return notes;
}
