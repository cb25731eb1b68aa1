#include "Host/Audio/Metadata/FlacMetadata.h"

#include "Host/Audio/ByteNumbers.h"

#include <FLAC/metadata.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <span>

namespace {

struct ChainDeleter {
  void operator()(FLAC__Metadata_Chain* chain) const { FLAC__metadata_chain_delete(chain); }
};

struct IteratorDeleter {
  void operator()(FLAC__Metadata_Iterator* iterator) const { FLAC__metadata_iterator_delete(iterator); }
};

/// The object that libFLAC was given as I/O handle.
MetadataBytes& Bytes(FLAC__IOHandle handle) { return *static_cast<MetadataBytes*>(handle); }

/// libFLAC's input, in the manner of the C library's functions.
constexpr FLAC__IOCallbacks kCallbacks{
    .read = [](void* to, std::size_t size, std::size_t count, FLAC__IOHandle handle) -> std::size_t {
      const std::size_t done = size == 0 ? 0 : Bytes(handle).Read(to, size * count) / size;
      // libFLAC takes any errno for a failed read, even one that an interrupted and repeated call has left.
      errno = 0;
      return done;
    },
    .write = nullptr,
    .seek = [](FLAC__IOHandle handle, FLAC__int64 offset, int whence) -> int {
      MetadataBytes& bytes = Bytes(handle);
      const std::uint64_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? bytes.Position() : bytes.Length();
      // A position beyond the end is not an error: Read returns nothing there.
      bytes.Seek(base + static_cast<std::uint64_t>(offset));
      return 0;
    },
    .tell = [](FLAC__IOHandle handle) { return static_cast<FLAC__int64>(Bytes(handle).Position()); },
    .eof = [](FLAC__IOHandle handle) -> int { return Bytes(handle).Position() >= Bytes(handle).Length() ? 1 : 0; },
    .close = nullptr,
};

/// Adds Vorbis comments. An entry without "=" is invalid.
void AddComments(const FLAC__StreamMetadata_VorbisComment& comments, SoundMetadata& metadata) {
  for (const auto& comment : std::span(comments.comments, comments.num_comments)) {
    const std::string_view entry(reinterpret_cast<const char*>(comment.entry), comment.length);
    if (const std::size_t equals = entry.find('='); equals != std::string_view::npos) {
      metadata.AddText(entry.substr(0, equals), entry.substr(equals + 1));
    } else {
      metadata.omitted.emplace_back("a Vorbis comment without a name: damaged");
    }
  }
}

void AddPicture(const FLAC__StreamMetadata_Picture& picture, SoundMetadata& metadata) {
  metadata.AddPicture(picture.type, picture.mime_type, reinterpret_cast<const char*>(picture.description),
                      std::string(reinterpret_cast<const char*>(picture.data), picture.data_length));
}

/// Adds the tracks of a cue sheet as chapters, without the lead-out, which marks the end. RFC 9639 demands that it is
/// the last one; its number is 170 or 255, and flac writes 170 even where the cue sheet is not that of a CD.
void AddTracks(const FLAC__StreamMetadata_CueSheet& sheet, unsigned int sampleRate, SoundMetadata& metadata) {
  for (const auto& track : std::span(sheet.tracks, std::max(1U, sheet.num_tracks) - 1)) {
    metadata.AddChapter(track.offset, std::max(1U, sampleRate), fmt::format("Track {}", track.number));
  }
}

/// Whether all Vorbis comments take up to 1 MiB (for 16 MiB of empty comments libFLAC would allocate 200 MiB), and the
/// file has no more metadata blocks than programs write. `start` is the position of "fLaC".
bool HasModestComments(MetadataBytes& bytes, std::uint64_t start) {
  constexpr std::size_t kMostComments = std::size_t{1} << 20;
  constexpr unsigned int kCommentType = 4;
  constexpr int kMostBlocks = 1024;
  int blocks = 0;
  std::size_t comments = 0;
  std::array<unsigned char, 4> block{};
  bytes.Seek(start + 4);
  for (bool isLast = false; !isLast;) {
    if (++blocks > kMostBlocks || bytes.Read(block.data(), block.size()) != block.size()) {
      return false;
    }
    // A metadata block header is a flag for the last block (1 bit), the type (7 bits) and the size of the body (24
    // bits).
    const auto size = static_cast<std::size_t>(ReadNumber(block.data() + 1, 3, true));
    isLast = (block[0] & 0x80U) != 0;
    comments += (block[0] & 0x7FU) == kCommentType ? size : 0;
    if (comments > kMostComments) {
      return false;
    }
    bytes.Seek(bytes.Position() + size);
  }
  // libFLAC steps over an ID3v2 tag by itself.
  bytes.Seek(0);
  return true;
}

}  // namespace

void AddFlacMetadata(MetadataBytes& bytes, std::uint64_t start, SoundMetadata& metadata) {
  const std::unique_ptr<FLAC__Metadata_Chain, ChainDeleter> chain(FLAC__metadata_chain_new());
  const std::unique_ptr<FLAC__Metadata_Iterator, IteratorDeleter> iterator(FLAC__metadata_iterator_new());
  if (chain == nullptr || iterator == nullptr || !HasModestComments(bytes, start) ||
      FLAC__metadata_chain_read_with_callbacks(chain.get(), &bytes, kCallbacks) == 0) {
    // A file that cannot be read is a failure of its own, not damage of its metadata.
    bytes.RethrowFailure();
    metadata.omitted.emplace_back("FLAC metadata: damaged or too large");
    return;
  }
  FLAC__metadata_iterator_init(iterator.get(), chain.get());
  unsigned int sampleRate = 0;
  do {
    const FLAC__StreamMetadata& block = *FLAC__metadata_iterator_get_block(iterator.get());
    switch (block.type) {
      case FLAC__METADATA_TYPE_STREAMINFO:
        sampleRate = block.data.stream_info.sample_rate;
        break;
      case FLAC__METADATA_TYPE_VORBIS_COMMENT:
        AddComments(block.data.vorbis_comment, metadata);
        break;
      case FLAC__METADATA_TYPE_PICTURE:
        AddPicture(block.data.picture, metadata);
        break;
      case FLAC__METADATA_TYPE_CUESHEET:
        AddTracks(block.data.cue_sheet, sampleRate, metadata);
        break;
      case FLAC__METADATA_TYPE_APPLICATION:
        metadata.omitted.push_back(fmt::format("FLAC application block of {} bytes: not supported", block.length));
        break;
      case FLAC__METADATA_TYPE_PADDING:
      case FLAC__METADATA_TYPE_SEEKTABLE:
        break;
      default:
        metadata.omitted.push_back(fmt::format("FLAC metadata block of type {}: not supported", int{block.type}));
    }
  } while (FLAC__metadata_iterator_next(iterator.get()) != 0);
}
