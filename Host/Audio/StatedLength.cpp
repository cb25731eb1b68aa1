#include "Host/Audio/StatedLength.h"

#include "Host/Audio/ByteNumbers.h"
#include "Host/Text/Errors.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <string_view>

namespace {

/// The first bytes of a file. Those of a shorter file are followed by zeros.
using Head = std::array<unsigned char, 1024>;  // as long as NIST's, the longest
using Length = std::optional<std::uint64_t>;

/// The unsigned big-endian number of `size` bytes at position `at`, which must lie within the head.
std::uint64_t Big(const Head& head, std::size_t at, std::size_t size) {
  return ReadNumber(head.data() + at, size, true);
}

/// The same in little-endian order.
std::uint64_t Little(const Head& head, std::size_t at, std::size_t size) {
  return ReadNumber(head.data() + at, size, false);
}

/// `position` rounded up to a multiple of `alignment`.
std::uint64_t Aligned(std::uint64_t position, std::uint64_t alignment) {
  return (position + alignment - 1) / alignment * alignment;
}

/// AVR: 128 bytes of header; at 12 a field that is 0 for mono, bits per sample at 14, number of sample frames at 26.
Length AvrLength(InputBytes&, const Head& head) {
  const std::uint64_t channels = Big(head, 12, 2) == 0 ? 1 : 2;
  return 128 + Big(head, 26, 4) * channels * (Big(head, 14, 2) / 8);
}

/// MPC 2000: 42 bytes of header; stereo flag at 21, number of sample frames at 30. Samples have 16 bits.
Length MpcLength(InputBytes&, const Head& head) { return 42 + Little(head, 30, 4) * 2 * (head[21] == 0 ? 1 : 2); }

/// WVE: 32 bytes of header; number of A-law bytes at 18.
Length WveLength(InputBytes&, const Head& head) { return 32 + Big(head, 18, 4); }

/// MIDI sample dump: a header of 21 bytes, then packets of 127 bytes with 120 bytes of samples, 7 bits in each byte.
/// The header states bits per sample (8 to 28) at 6, and the number of samples at 10 in three bytes of 7 bits.
Length SdsLength(InputBytes&, const Head& head) {
  const std::uint64_t bytesPerSample = (head[6] + std::uint64_t{6}) / 7;
  const std::uint64_t samples = head[10] + (std::uint64_t{head[11]} << 7) + (std::uint64_t{head[12]} << 14);
  if (bytesPerSample < 2 || bytesPerSample > 4) {
    return std::nullopt;
  }
  const std::uint64_t perPacket = 120 / bytesPerSample;
  return 21 + (samples + perPacket - 1) / perPacket * 127;
}

/// The value of a line "NAME -TYPE VALUE"; none where there is no such line. `name` is "NAME -".
Length NistValue(std::string_view text, std::string_view name) {
  const std::size_t line = text.find(name);
  const std::size_t space = line == std::string_view::npos ? line : text.find(' ', line + name.size());
  std::uint64_t value = 0;
  if (space == std::string_view::npos ||
      std::from_chars(text.data() + space + 1, text.data() + text.size(), value).ec != std::errc()) {
    return std::nullopt;
  }
  return value;
}

/// NIST SPHERE: a header of 1024 bytes of text. Numbers beyond any real sound count as damage, and the limits keep the
/// product within 64 bits.
Length NistLength(InputBytes&, const Head& head) {
  const std::string_view text(reinterpret_cast<const char*>(head.data()), head.size());
  const Length samples = NistValue(text, "sample_count -");
  const Length bytes = NistValue(text, "sample_n_bytes -");
  if (!samples || !bytes || *samples > InputBytes::kEndless >> 16 || *bytes > 8) {
    return std::nullopt;
  }
  return head.size() + *samples * *bytes * std::min<std::uint64_t>(NistValue(text, "channel_count -").value_or(1), 256);
}

/// VOC: blocks of a type (8 bits), a size (24 bits) and a body. A block of type 0, which is its type alone, ends the
/// file. libsndfile reads the first block of samples, and all that follows as if it were samples too. sox states too
/// small a size for that block: the bytes after it count as blocks only if several follow, or the last one ends the
/// file.
Length VocLength(InputBytes& bytes, const Head& head) {
  constexpr std::string_view kSoundTypes = "\1\2\3\11";  // samples, continuation, silence, samples of a newer kind
  constexpr unsigned char kLastType = 9;
  constexpr int kSeveral = 3;
  Length end;  // of the first block of sound
  int blocksAfterIt = 0;
  bool isMore = false;
  // The header states its own size, which is the position of the first block.
  std::uint64_t position = Little(head, 20, 2);
  // The limit bounds the time for a file of empty blocks.
  for (int block = 0; block < 1024; ++block) {
    std::array<unsigned char, 4> header{};
    const std::size_t size = bytes.ReadAt(position, header.data(), header.size());
    // The blocks end exactly where the file does, with or without the terminator.
    const bool isClean = size == 0 || (header[0] == 0 && position + 1 == bytes.Length());
    if (end && isMore && (isClean || blocksAfterIt == kSeveral)) {
      throw Failure(bytes.Name() + ": VOC files with more than one block of sound cannot be read; convert it first");
    }
    if (end && (isClean || header[0] == 0 || header[0] > kLastType || blocksAfterIt == kSeveral)) {
      return end;
    }
    if (size == 0 || header[0] == 0) {
      // The terminator counts: a file without it is truncated.
      return position + 1;
    }
    const bool isSound = kSoundTypes.find(static_cast<char>(header[0])) != std::string_view::npos;
    position += header.size() + ReadNumber(header.data() + 1, 3, false);
    if (position > bytes.Length()) {
      // Behind a complete block of sound, a block beyond the end is sample data that looks like one.
      return end ? end : position;
    }
    isMore = end && (isMore || isSound);
    blocksAfterIt += end ? 1 : 0;
    end = !end && isSound ? Length(position) : end;
  }
  return end;
}

/// XI: an instrument of several samples. Their number lies at 296, then come all their headers, then all their data.
/// libsndfile writes one sample and leaves its size zero.
Length XiLength(InputBytes&, const Head& head) {
  constexpr std::size_t kFirstHeader = 298;
  constexpr std::size_t kHeaderSize = 40;
  const std::uint64_t count = Little(head, kFirstHeader - 2, 2);
  // The headers must lie within the head.
  if (count > (head.size() - kFirstHeader) / kHeaderSize) {
    return std::nullopt;
  }
  std::uint64_t samples = 0;
  for (std::size_t sample = 0; sample < count; ++sample) {
    samples += Little(head, kFirstHeader + sample * kHeaderSize, 4);
  }
  return samples == 0 ? std::nullopt : Length(kFirstHeader + count * kHeaderSize + samples);
}

/// MAT-file of level 4: two matrices, the sample rate, and the samples with a row for each channel. A matrix begins
/// with five 32-bit numbers: type, rows, columns, flag for an imaginary part, length of the name.
Length Mat4Length(InputBytes& bytes, const Head& head) {
  constexpr std::size_t kHeaderSize = 20;
  // Bytes of an element, by the tens digit of the type: double, single, and integers of 32, 16, 16 (unsigned) and 8
  // bits.
  constexpr std::array<std::uint64_t, 6> kElementSizes{8, 4, 4, 2, 2, 1};
  // The thousands digit of the type is 1 in big-endian files: the first four bytes are 00 00 03 E8.
  const bool isBigEndian = head[0] == 0 && head[1] == 0 && head[2] != 0;
  std::uint64_t position = 0;
  for (int matrix = 0; matrix < 2; ++matrix) {
    std::array<unsigned char, kHeaderSize> header{};
    if (bytes.ReadAt(position, header.data(), header.size()) != header.size()) {
      return position + header.size();
    }
    const auto number = [&](std::size_t at) { return ReadNumber(header.data() + at, 4, isBigEndian); };
    const std::uint64_t type = number(0) % 100 / 10;
    const std::uint64_t rows = number(4);
    // The limits keep the product below within 64 bits.
    if (type >= kElementSizes.size() || rows > 1024 || number(16) > 1024) {
      return std::nullopt;
    }
    position += header.size() + number(16) + rows * number(8) * kElementSizes.at(type);
  }
  return position;
}

/// MAT-file of level 5: two matrices, each of four elements: flags, dimensions, name, data. The sizes of the matrices
/// themselves are unreliable, since libsndfile writes wrong ones; the sizes of their elements are right.
Length Mat5Length(InputBytes& bytes, const Head& head) {
  const bool isBigEndian = head[126] == 'M';
  // Behind the file's header and the first matrix's tag (type and size).
  std::uint64_t position = 128 + 8;
  for (int element = 1; element <= 8; ++element) {
    std::array<unsigned char, 8> header{};
    if (bytes.ReadAt(position, header.data(), header.size()) != header.size()) {
      return position + header.size();
    }
    // A small data element has its body in its tag.
    const bool isSmall = ReadNumber(header.data(), 4, isBigEndian) > 0xFFFF;
    const std::uint64_t end = position + header.size() + (isSmall ? 0 : ReadNumber(header.data() + 4, 4, isBigEndian));
    if (element == 8) {
      return end;
    }
    // The fourth element is followed by the tag of the second matrix.
    position = Aligned(end, 8) + (element == 4 ? 8 : 0);
  }
  return std::nullopt;
}

/// A format: the bytes at the beginning of its files, and the function that knows its header.
struct Format {
  std::string_view magic;
  Length (*length)(InputBytes& bytes, const Head& head);
  /// The size of the header, where libsndfile takes bytes behind the stated length for samples.
  std::uint64_t misreadFrom = InputBytes::kEndless;
};

using namespace std::string_view_literals;

/// SDS files begin as a MIDI system exclusive message does. MAT-files of level 4 have no magic number: the last two
/// rows are the header of a matrix of one number, in big-endian and in little-endian order.
constexpr std::array<Format, 10> kFormats{{
    {"2BIT", AvrLength, 128},
    {"\1\4"sv, MpcLength, 42},
    {"ALawSoundFile**\0"sv, WveLength, 32},
    {"\xF0\x7E"sv, SdsLength},
    {"NIST_1A\n", NistLength},
    {"Creative Voice File\x1A", VocLength},
    {"Extended Instrument: ", XiLength},
    {"MATLAB 5.0 MAT-file", Mat5Length},
    {"\0\0\3\xE8\0\0\0\1\0\0\0\1\0\0\0\0"sv, Mat4Length},
    {"\0\0\0\0\1\0\0\0\1\0\0\0\0\0\0\0"sv, Mat4Length},
}};

/// The same bytes as text.
std::string_view TextOf(const Head& head) { return {reinterpret_cast<const char*>(head.data()), head.size()}; }

}  // namespace

std::optional<FileLength> StatedFileLength(InputBytes& bytes) {
  Head head{};
  bytes.ReadAt(0, head.data(), head.size());
  for (const Format& format : kFormats) {
    if (TextOf(head).starts_with(format.magic)) {
      const Length length = format.length(bytes, head);
      // A header that states no samples leaves their number open.
      return length ? std::optional(FileLength{*length, *length > format.misreadFrom}) : std::nullopt;
    }
  }
  return std::nullopt;
}

bool LacksLength(InputBytes& bytes) {
  Head head{};
  bytes.ReadAt(0, head.data(), head.size());
  const std::string_view text = TextOf(head);
  // The other bytes of an IRCAM file's magic number identify the machine that wrote it.
  const bool isIrcam = text.starts_with("\x64\xA3") || text.substr(2).starts_with("\xA3\x64");
  const bool isInstrument = text.starts_with("Extended Instrument: ") && !XiLength(bytes, head);
  return isIrcam || isInstrument || text.starts_with(" paf") || text.starts_with("fap ") || text.starts_with("PVF1\n");
}
