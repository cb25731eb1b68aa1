#include "Host/Audio/SoundContainers.h"

#include "Host/Audio/ByteNumbers.h"
#include "Host/Text/Errors.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <string_view>

namespace {

/// FFFFFFFF: the size of a RIFF file or of its data chunk when ds64 has it (EBU Tech 3306), and AU's unknown size.
constexpr std::uint64_t kOpen32 = std::numeric_limits<std::uint32_t>::max();
/// Behind "RIFF", the size of the whole, and "WAVE".
constexpr std::size_t kWavFirstChunk = 12;
constexpr std::uint64_t kExtensible = 0xFFFE;  // the format tag of WAVEFORMATEXTENSIBLE
/// WAVE_FORMAT_MPEG and WAVE_FORMAT_MPEGLAYER3.
constexpr std::uint64_t kMpegLayer1Or2 = 0x50;
constexpr std::uint64_t kMpegLayer3 = 0x55;
/// Bytes of mEditCount, which precedes the samples in a CAF data chunk and counts into its size.
constexpr std::size_t kCafEditCount = 4;
/// The longest part of a header, in bytes, that is copied into memory.
constexpr std::uint64_t kMostCopied = std::uint64_t{1} << 20;
constexpr unsigned int kMostChunks = 1024;  // more than any program writes; each costs a read

// AIFF's Sound Data chunk, and the body of an IFF 8SVX file.
constexpr std::string_view kAiffData = "SSND";
constexpr std::string_view kSvxData = "BODY";

/// How a family of containers strings its chunks together. Positions and sizes are in bytes. With sizeCountsHeader,
/// the size in a chunk's header includes that header. Chunk bodies are padded to `alignment`.
struct ChunkGrammar {
  std::string_view magic;  ///< the file's first bytes
  std::size_t typeAt;      ///< where the type lies
  std::string_view type;
  std::size_t firstChunk;
  std::size_t nameSize;
  std::size_t sizeSize;
  bool isBigEndian;
  bool sizeCountsHeader;
  std::uint64_t alignment;
  std::string_view dataName;
};

/// RIFF, RF64 (EBU Tech 3306), RIFX (RIFF in big-endian order), W64, AIFF, AIFF-C, IFF 8SVX and
/// 16SV, CAF. W64 names chunks by GUIDs of 16 bytes, which begin with RIFF's names in small letters.
constexpr std::array<ChunkGrammar, 9> kGrammars{{
    {"RIFF", 8, "WAVE", kWavFirstChunk, 4, 4, false, false, 2, "data"},
    {"RF64", 8, "WAVE", kWavFirstChunk, 4, 4, false, false, 2, "data"},
    {"RIFX", 8, "WAVE", kWavFirstChunk, 4, 4, true, false, 2, "data"},
    {"riff", 24, "wave", 40, 16, 8, false, true, 8, "data"},
    {"FORM", 8, "AIFF", 12, 4, 4, true, false, 2, kAiffData},
    {"FORM", 8, "AIFC", 12, 4, 4, true, false, 2, kAiffData},
    {"FORM", 8, "8SVX", 12, 4, 4, true, false, 2, kSvxData},
    {"FORM", 8, "16SV", 12, 4, 4, true, false, 2, kSvxData},
    {"caff", 0, "caff", 8, 4, 8, true, false, 1, "data"},
}};

/// The first bytes of a file: as many as precede W64's first chunk. Also a chunk's header, of 24 bytes at most.
using Head = std::array<unsigned char, 40>;

/// Whether `text` lies at `at`. All of it must lie within the head.
bool HasText(const Head& head, std::size_t at, std::string_view text) {
  return std::equal(text.begin(), text.end(), head.begin() + static_cast<std::ptrdiff_t>(at),
                    [](char expected, unsigned char byte) { return static_cast<unsigned char>(expected) == byte; });
}

/// The lowest `size` bytes (up to 8) of `value` in the given byte order.
std::vector<unsigned char> NumberBytes(std::uint64_t value, std::size_t size, bool isBigEndian) {
  std::vector<unsigned char> bytes(size);
  for (std::size_t i = 0; i < size; ++i) {
    bytes[isBigEndian ? size - 1 - i : i] = static_cast<unsigned char>(value >> (8 * i));
  }
  return bytes;
}

/// Reads one chunk's header after the other, up to the end, a chunk without a name (zeros), or too many chunks.
class ChunkWalker {
 public:
  ChunkWalker(InputBytes& bytes, const ChunkGrammar& grammar)
      : m_bytes(bytes), m_grammar(grammar), m_next(grammar.firstChunk) {}

  /// Steps to the next chunk; false where there is none. Start() then is where the chunks end.
  bool Next() {
    const std::size_t headerSize = m_grammar.nameSize + m_grammar.sizeSize;
    m_start = m_next;
    m_header = {};
    constexpr std::string_view kNoName("\0\0\0\0", 4);
    if (++m_count > kMostChunks || m_bytes.ReadAt(m_start, m_header.data(), headerSize) != headerSize ||
        IsNamed(kNoName)) {
      m_header = {};  // the beginning of a truncated header names no chunk
      return false;
    }
    m_body = m_start + headerSize;
    m_size = ReadNumber(m_header.data() + m_grammar.nameSize, m_grammar.sizeSize, m_grammar.isBigEndian);
    if (m_grammar.sizeCountsHeader) {
      // A size smaller than the header itself is damage, and counts as an empty chunk.
      m_size = m_size < headerSize ? 0 : m_size - headerSize;
    }
    // The sums must not overflow: a chunk that extends beyond any possible end is the last one.
    const std::uint64_t padded = m_size + (m_grammar.alignment - m_size % m_grammar.alignment) % m_grammar.alignment;
    m_next = padded < m_size || padded > InputBytes::kEndless - m_body ? InputBytes::kEndless : m_body + padded;
    return true;
  }

  bool IsNamed(std::string_view name) const { return HasText(m_header, 0, name); }
  std::uint64_t Start() const { return m_start; }
  std::uint64_t Body() const { return m_body; }
  std::uint64_t End() const { return m_next; }
  std::uint64_t Size() const { return m_size; }

 private:
  InputBytes& m_bytes;
  const ChunkGrammar& m_grammar;
  Head m_header{};
  unsigned int m_count = 0;
  std::uint64_t m_start = 0;
  std::uint64_t m_body = 0;
  std::uint64_t m_size = 0;
  std::uint64_t m_next;
};

/// Whether a 32-bit size is a placeholder of a writer that could not seek back to fill it in. A regular file may
/// really have such a size: then the size of the whole in its header (`wholeSize`, without the first 8 bytes) matches
/// the file. The size 0 is real as well where the whole is said to go on after the chunk, whose body begins at `start`.
bool IsLeftOpen(std::uint64_t size, std::uint64_t start, std::uint64_t wholeSize, bool isAiff,
                const InputBytes& bytes) {
  if (size >= 0xFFFFF000) {
    return true;
  }
  // Placeholders are 0 and values around 7FFFFFFF, in AIFF from 7F000000 on.
  const std::uint64_t lowest = isAiff ? 0x7F000000 : 0x7FFF0000;
  const std::uint64_t preamble = isAiff ? 8 : 0;
  if (size == 0 && start + preamble < wholeSize + 8 && wholeSize < lowest) {
    return false;
  }
  const bool isSuspect = size == 0 || (size >= lowest && size <= 0x80000000);
  // Programs differ in whether the size of the whole counts the last padding byte.
  const bool isInEarnest = !bytes.IsStream() && wholeSize + 8 <= bytes.Length() && bytes.Length() <= wholeSize + 9;
  return isSuspect && !isInEarnest;
}

/// The bytes of samples that the data chunk's header states; none where it leaves them open. `size64` is the size of
/// the data chunk that ds64 states, 0 where there is none.
std::optional<std::uint64_t> PromisedSize(const ChunkWalker& data, const ChunkGrammar& grammar, const Head& head,
                                          std::uint64_t size64, const InputBytes& bytes) {
  // CAF states -1 for an unknown size; ChunkWalker takes all sizes that large for endless.
  if (grammar.sizeSize == 8) {
    return data.End() == InputBytes::kEndless ? std::nullopt : std::optional(data.Size());
  }
  // In RF64, libsndfile and ffmpeg prefer the size in ds64 even where the data chunk states another one.
  const bool is64 = data.Size() == kOpen32 || HasText(head, 0, "RF64");
  if (is64 && size64 != 0) {
    return size64 < InputBytes::kEndless ? std::optional(size64) : std::nullopt;
  }
  const std::uint64_t wholeSize = ReadNumber(head.data() + 4, 4, grammar.isBigEndian);
  const bool isLeftOpen = IsLeftOpen(data.Size(), data.Body(), wholeSize, grammar.dataName == kAiffData, bytes);
  return isLeftOpen ? std::nullopt : std::optional(data.Size());
}

/// Steps over what lies between the chunk's header and its samples.
void SkipPreamble(SampleData& found, std::uint64_t preamble) {
  found.start += preamble;
  if (found.size) {
    found.size = *found.size - std::min(*found.size, preamble);
  }
}

/// The samples of a file that follows `grammar`. Throws Failure where it has no chunk of samples.
SampleData FindInChunks(InputBytes& bytes, const ChunkGrammar& grammar, const Head& head) {
  SampleData found;
  std::uint64_t size64 = 0;
  ChunkWalker chunk(bytes, grammar);
  while (chunk.Next() && !chunk.IsNamed(grammar.dataName)) {
    std::array<unsigned char, 16> body{};
    std::array<unsigned char, 24> format{};
    if (chunk.IsNamed("fmt ") && bytes.ReadAt(chunk.Body(), format.data(), 2) == 2) {
      // wFormatTag is the first field of WAVEFORMATEX.
      const std::uint64_t tag = ReadNumber(format.data(), 2, grammar.isBigEndian);
      found.isMpeg = tag == kMpegLayer1Or2 || tag == kMpegLayer3;
    }
    if (chunk.IsNamed("fmt ") && bytes.ReadAt(chunk.Body(), format.data(), format.size()) == format.size() &&
        chunk.Size() >= format.size() && ReadNumber(format.data(), 2, grammar.isBigEndian) == kExtensible) {
      // wValidBitsPerSample and dwChannelMask of WAVEFORMATEXTENSIBLE.
      found.validBits = static_cast<unsigned int>(ReadNumber(format.data() + 18, 2, grammar.isBigEndian));
      found.speakers = static_cast<std::uint32_t>(ReadNumber(format.data() + 20, 4, grammar.isBigEndian));
    }
    if (chunk.IsNamed("ds64") && bytes.ReadAt(chunk.Body(), body.data(), body.size()) == body.size()) {
      // dataSize follows riffSize in ds64. Its numbers are little-endian.
      size64 = ReadNumber(body.data() + 8, 8, false);
    }
  }
  if (!chunk.IsNamed(grammar.dataName)) {
    throw Failure(bytes.Name() + ": contains no samples: it has no chunk \"" + std::string(grammar.dataName) + '"');
  }
  found.start = chunk.Body();
  found.size = PromisedSize(chunk, grammar, head, size64, bytes);
  found.isLittleEndianWav = grammar.firstChunk == kWavFirstChunk && grammar.dataName == "data" && !grammar.isBigEndian;
  found.isCaf = grammar.magic == "caff";
  found.endIsMisread = grammar.magic == "riff";
  found.isStreamable = grammar.dataName != kSvxData;
  if (found.isCaf) {
    SkipPreamble(found, kCafEditCount);
  } else if (grammar.dataName == kAiffData) {
    constexpr std::size_t kOffsetSize = 4;
    std::array<unsigned char, 8> preamble{};  // offset and blockSize of SSND
    if (bytes.ReadAt(chunk.Body(), preamble.data(), preamble.size()) != preamble.size()) {
      throw Failure(bytes.Name() + ": is incomplete: it ends within its header");
    }
    const std::uint64_t offset = ReadNumber(preamble.data(), kOffsetSize, true);
    // With an offset, libsndfile may read on after the samples.
    found.endIsMisread = offset != 0;
    SkipPreamble(found, preamble.size() + offset);
  }
  if (!bytes.IsStream() && found.size.value_or(0) != 0) {
    while (chunk.Next() && !chunk.IsNamed(grammar.dataName)) {
    }
    // libsndfile would go on looking for chunks, for hours in a large sparse file, and would prefer a second chunk of
    // samples to the first.
    bytes.EndAt(std::max(chunk.Start(), found.start + *found.size));
  }
  return found;
}

/// Whether libsndfile reads samples of the format in RF64: by wFormatTag, integers, floating point, A-law, mu-law and
/// WAVEFORMATEXTENSIBLE. `formatAt` is the position of the body of "fmt ".
bool IsPlainWavFormat(InputBytes& bytes, std::uint64_t formatAt) {
  constexpr std::array<std::uint64_t, 5> kPlain{1, 3, 6, 7, kExtensible};
  std::array<unsigned char, 2> tag{};
  // A failed read leaves the tag 0, which is not among them.
  bytes.ReadAt(formatAt, tag.data(), tag.size());
  return std::find(kPlain.begin(), kPlain.end(), ReadNumber(tag.data(), tag.size(), false)) != kPlain.end();
}

/// The samples of an AU file: after the magic number come the position and the size of the samples, 32 bits each.
/// "dns." marks little-endian byte order.
std::optional<SampleData> FindInAu(const Head& head) {
  const bool isBigEndian = HasText(head, 0, ".snd");
  if (!isBigEndian && !HasText(head, 0, "dns.")) {
    return std::nullopt;
  }
  SampleData found;
  found.endIsMisread = true;
  found.start = ReadNumber(head.data() + 4, 4, isBigEndian);
  const std::uint64_t size = ReadNumber(head.data() + 8, 4, isBigEndian);
  if (size != kOpen32) {
    found.size = size;
  }
  return found;
}

}  // namespace

std::optional<SampleData> FindSampleData(InputBytes& bytes) {
  Head head{};
  bytes.ReadAt(0, head.data(), head.size());
  // BW64 (ITU-R BS.2088) is laid out as RF64, but libsndfile does not know its magic.
  if (HasText(head, 0, "BW64") && HasText(head, 8, "WAVE")) {
    constexpr std::string_view kRf64 = "RF64";
    std::copy(kRf64.begin(), kRf64.end(), head.begin());
    bytes.ReplaceHead({kRf64.begin(), kRf64.end()}, kRf64.size());
  }
  for (const ChunkGrammar& grammar : kGrammars) {
    if (HasText(head, 0, grammar.magic) && HasText(head, grammar.typeAt, grammar.type)) {
      return FindInChunks(bytes, grammar, head);
    }
  }
  return FindInAu(head);
}

void SetWavSize(InputBytes& bytes, const SampleData& data, std::uint64_t size) {
  std::vector<unsigned char> head;
  const auto append = [&head](const auto& values) {
    for (const auto value : values) {
      head.push_back(static_cast<unsigned char>(value));
    }
  };
  const auto appendText = [&append](std::string_view text) { append(text); };
  const auto appendNumber = [&append](std::uint64_t value, std::size_t width) {
    append(NumberBytes(value, width, false));
  };

  appendText("RF64");
  appendNumber(kOpen32, 4);
  appendText("WAVEds64");
  // The body of ds64: riffSize, dataSize, sampleCount (64 bits each) and the length of its table (32 bits).
  appendNumber(28, 4);
  const std::size_t wholeSizeAt = head.size();
  appendNumber(0, 8);
  appendNumber(size, 8);
  appendNumber(0, 8);  // number of sample frames: left to the reader
  appendNumber(0, 4);  // no table of other long chunks
  // RIFF and RF64 differ only in their magic: one grammar serves for both.
  for (ChunkWalker chunk(bytes, kGrammars[0]); chunk.Next() && !chunk.IsNamed("data");) {
    const std::uint64_t length = chunk.End() - chunk.Start();
    if (chunk.IsNamed("fmt ") && !IsPlainWavFormat(bytes, chunk.Body())) {
      return;
    }
    // libsndfile needs "fmt "; the other chunks are metadata, of which a reader may have less.
    const bool isToBeKept = chunk.IsNamed("fmt ") || head.size() <= kMostCopied;
    if (!chunk.IsNamed("ds64") && length <= kMostCopied && isToBeKept) {
      std::vector<unsigned char> copy(static_cast<std::size_t>(length));
      bytes.ReadAt(chunk.Start(), copy.data(), copy.size());
      append(copy);
    }
  }
  appendText("data");
  appendNumber(kOpen32, 4);
  // riffSize does not count the first 8 bytes: "RF64" and the 32-bit size.
  const std::vector<unsigned char> wholeSize = NumberBytes(head.size() - 8 + size, 8, false);
  std::copy(wholeSize.begin(), wholeSize.end(), head.begin() + static_cast<std::ptrdiff_t>(wholeSizeAt));
  bytes.ReplaceHead(std::move(head), data.start);
}

void SetCafSize(InputBytes& bytes, const SampleData& data, std::uint64_t size) {
  if (data.start > kMostCopied) {
    return;
  }
  std::vector<unsigned char> head(static_cast<std::size_t>(data.start));
  bytes.ReadAt(0, head.data(), head.size());
  // The header of the data chunk ends with its size, and the edit count follows. Both lie before data.start.
  const std::vector<unsigned char> sizeBytes = NumberBytes(size + kCafEditCount, 8, true);
  std::copy(sizeBytes.begin(), sizeBytes.end(), head.end() - kCafEditCount - 8);
  bytes.ReplaceHead(std::move(head), data.start);
}
