#include "Host/Audio/SndfileSource.h"

#include "Host/Audio/ChannelOrder.h"
#include "Host/Audio/Metadata/ReadMetadata.h"
#include "Host/Audio/OggEnd.h"
#include "Host/Audio/StatedLength.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace {

/// The most bytes in a block that Read() returns, unless a single sample frame is larger.
constexpr std::size_t kBlockBytes = std::size_t{64} << 10;
/// GSM 6.10 in WAV (format tag 0x31): each block of 65 bytes holds 320 sample frames.
constexpr std::uint64_t kWavGsmBlock = 65;  // bytes of a block
constexpr std::uint64_t kWavGsmFrames = 320;

/// How Read() represents the samples: see the fields of the same names in SoundFormat.
struct Representation {
  SampleType type;
  unsigned int significantBits;
};

/// The smallest representation that holds all bits that libsndfile's decoder for the subtype gives.
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
    // PCM of 8 and 16 bits, A-law, mu-law, and compressed formats whose decoders give at most 16 bits.
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

/// Removes full stops, spaces and line feeds from the end: libsndfile's texts are sentences, Failure's are clauses.
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
  // Samples without a header have nothing to find or to correct.
  if (!m_raw) {
    FindSamples();
  }
  const SF_INFO info = Open();
  if (metadataUse == MetadataUse::kRead && !m_raw) {
    m_metadata = ReadMetadata(m_file.get(), info, m_io, *m_bytes);
  }
  // From here on libsndfile reads the samples front to back.
  m_bytes->StopKeeping();
  m_blockFrames = std::max<std::size_t>(1, kBlockBytes / (SizeOf(m_format.sampleType) * m_format.channels));
}

/// Finds the samples before libsndfile opens the file: corrects headers that it would misread, and refuses truncations
/// that it would not notice.
void SndfileSource::FindSamples() {
  m_data = FindSampleData(*m_bytes);
  if (m_bytes->IsStream()) {
    RefuseUnreadableStream();
  }
  if (m_data) {
    CorrectHeader();
  } else if (!m_bytes->IsStream()) {
    // The format is not made of chunks: the length is in a header of another kind, in Ogg's last page, or nowhere.
    m_lacksLength = LacksLength(*m_bytes);
    if (LacksOggEnd(*m_bytes)) {
      NoteMissing("the Ogg stream has no last page");
    }
    const std::optional<FileLength> stated = StatedFileLength(*m_bytes);
    if (stated && stated->bytes > m_bytes->Length()) {
      NoteMissing(MissingText("bytes", stated->bytes, stated->bytes - m_bytes->Length()));
    } else if (stated && stated->endIsMisread) {
      m_bytes->EndAt(stated->bytes);
    }
  }
}

/// Throws Failure for a stream that needs seeking, or whose header leaves its end ambiguous.
void SndfileSource::RefuseUnreadableStream() {
  if (!m_data || !m_data->isStreamable) {
    throw Failure(
        m_bytes->Name() +
        ": is not in a format that can be read from a pipe (WAV, RF64, W64, AIFF, CAF, AU, FLAC or MP3); save it to "
        "a file first");
  }
  // The size 0 is ambiguous when bytes follow: it may be real, or the placeholder of a writer that could not seek
  // back.
  unsigned char sample = 0;
  if (m_data && m_data->size == std::uint64_t{0} && m_bytes->ReadAt(m_data->start, &sample, 1) != 0) {
    throw Failure(m_bytes->Name() +
                  ": the header says that there are no samples, but more bytes follow; save it to a file first");
  }
  // Some of libsndfile's decoders for compressed samples read all of them when they open a file. The limit on its
  // length keeps this trial from waiting for the end of the stream.
  SF_INFO info{};
  if (m_data && !m_data->size && m_io.Open(info, m_data->start + kBlockBytes) && !IsUncompressed(info)) {
    throw Failure(m_bytes->Name() +
                  ": compressed samples whose length the header leaves open cannot be read from a pipe; save it to a "
                  "file first");
  }
  m_io.RethrowFailure();
}

/// Makes the header's size agree with the bytes that there are. Throws Failure for a truncated file, unless
/// truncations are allowed. m_data must be known.
void SndfileSource::CorrectHeader() {
  // The length of a stream is unknown: the value used for it exceeds any sound, and sums with it do not overflow.
  const std::uint64_t available =
      m_bytes->IsStream() ? InputBytes::kEndless / 2 : m_bytes->Length() - std::min(m_bytes->Length(), m_data->start);
  if (m_data->size && (m_bytes->IsStream() || m_data->endIsMisread)) {
    // libsndfile must not read on behind the samples. In a stream, its decoders for compressed samples rely on an end
    // too.
    m_bytes->EndAt(m_data->start + *m_data->size);
  }
  if (!m_data->size && m_data->isLittleEndianWav) {
    SetWavSize(*m_bytes, *m_data, available);
  } else if (!m_data->size && m_data->isCaf) {
    SetCafSize(*m_bytes, *m_data, available);
  } else if (m_data->size && *m_data->size > available) {
    // Throws unless truncations are allowed; what follows lets libsndfile read the rest.
    NoteMissing(MissingText("bytes", *m_data->size, *m_data->size - available));
    SF_INFO info{};
    if (m_data->isCaf) {
      SetCafSize(*m_bytes, *m_data, available);
    } else if (m_io.Open(info) && HasBlocksOfOneSize(info)) {
      // libsndfile then derives the number of frames from the stated size, and FramesPresent() scales it down.
      m_bytes->Lengthen(m_data->start + *m_data->size);
    }
    m_io.RethrowFailure();
  } else if (!m_bytes->IsStream() && m_data->start > m_bytes->Length()) {
    NoteMissing("it ends within its header");
  }
}

/// Opens the file and reads its format. Throws NotASoundFile for an unknown format, Failure for one that cannot be
/// read.
SF_INFO SndfileSource::Open() {
  SF_INFO info{};
  if (m_raw) {
    // sf_open takes the format of headerless samples from its argument. ParseRawFormat keeps both numbers small.
    info.samplerate = static_cast<int>(m_raw->sampleRate);
    info.channels = static_cast<int>(m_raw->channels);
    info.format = m_raw->format;
  }
  m_file = m_io.Open(info);
  // An error of the input goes first: libsndfile's own error would only follow from it.
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
    // libsndfile's decoder does not stop where the bytes end.
    throw Failure(m_bytes->Name() + ": DWVW samples cannot be read from a pipe; save it to a file first");
  }
  ReadFormat(info);
  return info;
}

/// Fills m_format and what depends on it from what libsndfile says, with corrections where it is wrong.
void SndfileSource::ReadFormat(const SF_INFO& info) {
  const Representation representation = RepresentationOf(info.format);
  m_format.name = m_bytes->Name();
  m_format.sampleRate = static_cast<unsigned int>(info.samplerate);
  m_format.channels = static_cast<unsigned int>(info.channels);
  m_format.sampleType = representation.type;
  m_format.significantBits = representation.significantBits;
  if ((info.format & SF_FORMAT_SUBMASK) == SF_FORMAT_PCM_32 && m_data && m_data->validBits != 0 &&
      m_data->validBits <= 24) {
    m_format.significantBits = 24;  // 24 bits in 32, which need no dither
  }
  // libsndfile's SF_COUNT_MAX means unknown. For a stream without a stated size libsndfile counts from a made-up
  // length.
  const bool isOpenStream = m_bytes->IsStream() && (m_raw || (m_data && m_data->size.value_or(0) == 0));
  if (info.frames >= 0 && info.frames < SF_COUNT_MAX && !isOpenStream) {
    m_format.frames = static_cast<std::uint64_t>(info.frames);
  }
  if ((info.format & (SF_FORMAT_TYPEMASK | SF_FORMAT_SUBMASK)) == (SF_FORMAT_WAV | SF_FORMAT_GSM610) && m_data &&
      m_data->size) {
    // libsndfile takes RIFF's padding byte for another block.
    m_format.frames = *m_data->size / kWavGsmBlock * kWavGsmFrames;
  }
  m_hasBlocksOfOneSize = HasBlocksOfOneSize(info);
  // Only a truncated file that CorrectHeader lengthened ends early.
  if (m_hasBlocksOfOneSize && !m_bytes->IsStream() && m_bytes->EndedEarly()) {
    m_format.frames = FramesPresent();
  }
  ChannelOrder order = WavChannelOrder(m_file.get(), info);
  m_order = std::move(order.sources);
  // The channel mask in a WAV header overrides what follows from the format alone.
  m_format.speakers = m_data && m_data->speakers ? m_data->speakers : order.speakers;
}

/// Decodes up to `frames` sample frames to `to` and returns their number. libsndfile justifies integers to the
/// left of the type, as SampleType demands.
sf_count_t SndfileSource::ReadSamples(void* to, sf_count_t frames) {
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

SampleBlock SndfileSource::Read(SampleMemory& memory) {
  // The stated number of frames is the limit: some decoders would go on with what follows the samples.
  const std::uint64_t left =
      m_format.frames ? *m_format.frames - std::min(*m_format.frames, m_framesRead) : m_blockFrames;
  const auto wanted = static_cast<sf_count_t>(std::min<std::uint64_t>(left, m_blockFrames));
  const std::size_t sampleSize = SizeOf(m_format.sampleType);
  unsigned char* const samples = memory.Reserve(static_cast<std::size_t>(wanted) * m_format.channels * sampleSize);
  sf_count_t frames = std::max<sf_count_t>(0, ReadSamples(samples, wanted));
  m_io.RethrowFailure();
  const bool hasStatedEnd = m_bytes->IsStream() && m_data && m_data->size;
  // Bytes behind the last decodable sample show whether the stream is complete.
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
  const SampleBlock block{samples, static_cast<std::size_t>(frames)};
  if (!m_order.empty()) {
    ReorderChannels(samples, block.frames, sampleSize, m_order);
  }
  return block;
}

/// The sample frames of a sound with blocks of one size that the present bytes hold: in proportion to the stated size.
std::uint64_t SndfileSource::FramesPresent() const {
  // The product of frames and bytes may exceed 64 bits.
  __extension__ using Wide = unsigned __int128;
  const std::uint64_t present = m_bytes->PresentLength() - std::min(m_bytes->PresentLength(), m_data->start);
  // At least 1, since it is a divisor.
  const std::uint64_t stated = std::max<std::uint64_t>(*m_data->size, 1);
  return static_cast<std::uint64_t>(Wide{m_format.frames.value_or(0)} * std::min(present, stated) / stated);
}

/// Notes what is missing of a stream that has ended too early. Returns how many of the `frames` read last are real.
sf_count_t SndfileSource::HandleCutStream(sf_count_t frames) {
  const std::uint64_t present = m_bytes->PresentLength() - std::min(m_bytes->PresentLength(), m_data->start);
  NoteMissing(MissingText("bytes", *m_data->size, *m_data->size - present));
  // Decoders of blocks of one size invent frames behind the end; the others stop there.
  const std::uint64_t most = m_hasBlocksOfOneSize ? FramesPresent() : m_framesRead + static_cast<std::uint64_t>(frames);
  return std::min(frames, static_cast<sf_count_t>(most - std::min(most, m_framesRead)));
}

/// Reads a stream on to the stated end of its samples after the last one that can be decoded, so that a stream that
/// ends too early is noticed.
void SndfileSource::ReadToStatedEnd() {
  // A wrong size in the header must not make the program read for ever.
  constexpr std::uint64_t kMostBytes = std::uint64_t{64} << 20;
  const std::uint64_t end = m_bytes->PresentLength() + kMostBytes;
  std::vector<unsigned char> rest(kBlockBytes);
  while (m_bytes->PresentLength() < end &&
         m_bytes->ReadAt(m_bytes->PresentLength(), rest.data(), rest.size()) == rest.size()) {
  }
}

/// Notes the bytes at the end of headerless samples that do not fill a sample frame.
void SndfileSource::CheckRawEnd() {
  const std::uint64_t length = m_bytes->PresentLength();
  if (const std::uint64_t rest = length % m_raw->frameSize; rest != 0) {
    NoteMissing(fmt::format("its last {} {} not fill a sample frame of {} bytes", rest,
                            rest == 1 ? "byte does" : "bytes do", m_raw->frameSize));
  }
}

/// Handles a read that returned fewer frames than wanted: the end, an early end, or damage. `isLast`: it returned
/// none.
void SndfileSource::HandleShortRead(bool isLast) {
  const bool isError = sf_error(m_file.get()) != SF_ERR_NO_ERROR;
  // A short read without an error may precede another one with frames.
  const bool isMissing = (isLast || isError) && m_format.frames && m_framesRead < *m_format.frames;
  if (isMissing && m_bytes->CameShort()) {
    NoteMissing(MissingText("sample frames", *m_format.frames, *m_format.frames - m_framesRead));
  } else if (isError && m_bytes->CameShort()) {
    NoteMissing(fmt::format("it ends within a block of compressed sound, after sample frame {}", m_framesRead));
  } else if (isError || isMissing) {
    throw Failure(
        fmt::format("{}: is damaged after sample frame {}{}", m_bytes->Name(), m_framesRead,
                    isError ? ": " + WithoutFullStop(sf_strerror(m_file.get())) : ", no more sound can be decoded"));
  }
}

/// Throws Failure with `text` if truncations are refused, else keeps it for Notes().
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
