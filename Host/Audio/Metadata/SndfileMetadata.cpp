#include "Host/Audio/Metadata/SndfileMetadata.h"

#include "Host/Audio/ByteNumbers.h"
#include "Host/Audio/Metadata/MetadataBytes.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <map>
#include <set>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace {

/// A field's or chunk's four-character code, and the Vorbis comment name that AddText takes for it.
struct Name {
  std::string_view id;
  std::string_view name;
};

/// The fields of RIFF INFO, under the names that ffmpeg and TagLib give them.
constexpr Name kInfoFields[] = {
    {"IART", "ARTIST"},      {"ICMS", "COMMISSIONED"}, {"ICMT", "COMMENT"},     {"ICNT", "COUNTRY"},
    {"ICOP", "COPYRIGHT"},   {"ICRD", "DATE"},         {"IENG", "ENGINEER"},    {"IFRM", "TRACKTOTAL"},
    {"IGNR", "GENRE"},       {"IKEY", "KEYWORDS"},     {"ILNG", "LANGUAGE"},    {"IMED", "MEDIA"},
    {"IMUS", "COMPOSER"},    {"INAM", "TITLE"},        {"IPRD", "ALBUM"},       {"IPRO", "PRODUCER"},
    {"IPRT", "TRACKNUMBER"}, {"ISBJ", "SUBJECT"},      {"ISFT", "ENCODER"},     {"ISRC", "SOURCE"},
    {"ISRF", "SOURCE_FORM"}, {"ITCH", "ENCODED_BY"},   {"ITRK", "TRACKNUMBER"}, {"IWRI", "LYRICIST"},
};

/// AIFF's text chunks: Name, Author, Copyright, Annotation.
constexpr Name kAiffTexts[] = {{"NAME", "TITLE"}, {"AUTH", "ARTIST"}, {"(c) ", "COPYRIGHT"}, {"ANNO", "COMMENT"}};

/// The names of texts in CAF that differ from those of Vorbis comments.
constexpr Name kCafTexts[] = {{"comments", "COMMENT"},
                              {"encoding application", "ENCODER"},
                              {"recorded date", "DATE"},
                              {"track number", "TRACKNUMBER"}};

/// A chunk that becomes an attachment as it is.
struct Document {
  std::string_view id;
  const char* file;
  const char* mimeType;
};

/// XML documents of Broadcast WAV files (iXML, axml) and of XMP (_PMX).
constexpr Document kDocuments[] = {
    {"iXML", "iXML.xml", "text/xml"}, {"axml", "aXML.xml", "text/xml"}, {"_PMX", "XMP.xmp", "application/rdf+xml"}};

/// Chunks that need no mention: samples, their format, padding, and those that libsndfile has commands for.
constexpr std::string_view kKnownChunks[] = {"RIFF", "RIFX", "RF64", "WAVE", "fmt ", "fact", "data", "ds64", "JUNK",
                                             "PAD ", "FLLR", "PEAK", "bext", "FORM", "COMM", "SSND", "FVER", "MARK",
                                             "caff", "desc", "chan", "kuki", "pakt", "free", "peak", "wave"};

/// The row of `table` with that id; null where there is none.
template <class Table>
auto Find(const Table& table, std::string_view id) {
  const auto* const found =
      std::find_if(std::begin(table), std::end(table), [&](const auto& row) { return row.id == id; });
  return found == std::end(table) ? nullptr : found;
}

/// Numbers and texts of a chunk, one after the other. Behind its end there are zeros and empty texts.
class Fields {
 public:
  Fields(std::string_view bytes, bool isBigEndian) : m_bytes(bytes), m_isBigEndian(isBigEndian) {}

  bool IsAtEnd() const { return m_bytes.empty(); }
  std::size_t Left() const { return m_bytes.size(); }

  /// The next `size` bytes, or those that are left.
  std::string_view Take(std::size_t size) {
    const std::string_view taken = m_bytes.substr(0, size);
    m_bytes.remove_prefix(taken.size());
    return taken;
  }

  /// The next number of `size` bytes, up to 8.
  std::size_t TakeNumber(std::size_t size) {
    const std::string_view taken = Take(size);
    return taken.size() < size ? 0
                               : static_cast<std::size_t>(ReadNumber(
                                     reinterpret_cast<const unsigned char*>(taken.data()), size, m_isBigEndian));
  }

  /// The bytes up to the next zero, which is skipped.
  std::string_view TakeUpToZero() {
    const std::string_view taken = Take(m_bytes.find('\0'));
    Take(1);
    return taken;
  }

 private:
  std::string_view m_bytes;
  bool m_isBigEndian;
};

/// Calls `use` with the name and the content of each chunk within a LIST. False for a chunk whose size exceeds the
/// list; `use` gets it as far as it goes.
template <class Use>
bool ForEachSubchunk(Fields list, const Use& use) {
  constexpr std::size_t kHead = 8;
  while (list.Left() >= kHead) {
    const std::string_view id = list.Take(4);
    const std::size_t size = list.TakeNumber(4);
    const bool isWhole = size <= list.Left();
    use(id, list.Take(size));
    if (!isWhole) {
      return false;
    }
    list.Take(size % 2);  // padding to an even size
  }
  return true;
}

/// Adds the texts of an AIFF Comments chunk: each has a time stamp and the number of a marker in front.
void AddAiffComments(Fields fields, SoundMetadata& metadata) {
  for (std::size_t left = fields.TakeNumber(2); left != 0 && !fields.IsAtEnd(); --left) {
    constexpr std::size_t kTimeAndMarker = 6;
    fields.Take(kTimeAndMarker);
    const std::size_t size = fields.TakeNumber(2);
    metadata.AddText("COMMENT", fields.Take(size));
    fields.Take(size % 2);
  }
}

/// Adds the texts of a CAF Information chunk: pairs of names and texts. libsndfile knows ten of the names.
void AddCafInfo(Fields fields, SoundMetadata& metadata) {
  for (std::size_t left = fields.TakeNumber(4); left != 0 && !fields.IsAtEnd(); --left) {
    const std::string_view id = fields.TakeUpToZero();
    const Name* const known = Find(kCafTexts, id);
    metadata.AddText(known == nullptr ? id : known->name, fields.TakeUpToZero());
  }
}

/// Adds the chunks of a file that hold texts, tags or documents to the metadata, and names all others as omitted.
class ChunkReader {
 public:
  ChunkReader(SNDFILE* file, const SF_INFO& info, const OnId3v2& onId3v2, SoundMetadata& metadata)
      : m_file(file), m_info(info), m_onId3v2(onId3v2), m_metadata(metadata) {}

  void ReadAll() {
    for (SF_CHUNK_ITERATOR* chunk = sf_get_chunk_iterator(m_file, nullptr); chunk != nullptr;
         chunk = sf_next_chunk_iterator(chunk)) {
      Read(chunk);
    }
    // The labels may precede the cue points or follow them.
    for (const CuePoint& point : m_cuePoints) {
      m_metadata.AddChapter(point.sampleFrame, static_cast<unsigned int>(m_info.samplerate),
                            std::move(m_labels[point.id]));
    }
  }

 private:
  struct CuePoint {
    std::size_t id;
    std::uint64_t sampleFrame;
  };

  /// Adds one chunk. `info.datalen` is the size of the chunk or of the room for it, depending on the call.
  void Read(const SF_CHUNK_ITERATOR* chunk) {
    SF_CHUNK_INFO info{};
    char first = 0;
    info.data = &first;
    // libsndfile tells a chunk's name only when the chunk is read, and divides by its size then: an empty chunk must
    // not be read. One byte suffices for the name.
    if (sf_get_chunk_size(chunk, &info) != SF_ERR_NO_ERROR || info.datalen == 0) {
      return;
    }
    info.datalen = sizeof first;
    if (sf_get_chunk_data(chunk, &info) != SF_ERR_NO_ERROR) {
      return;
    }
    const std::string id(info.id, std::min<std::size_t>(4, info.id_size));
    m_isRifx = m_isRifx || id == "RIFX";  // the first chunk
    if (std::find(std::begin(kKnownChunks), std::end(kKnownChunks), id) != std::end(kKnownChunks) ||
        sf_get_chunk_size(chunk, &info) != SF_ERR_NO_ERROR) {
      return;
    }
    if (!IsKept(id)) {
      m_metadata.omitted.push_back(fmt::format("chunk \"{}\" of {} bytes: not supported", id, info.datalen));
      return;
    }
    // A damaged file may state sizes of gigabytes: all chunks together are limited before memory is allocated.
    m_left -= std::min<std::uint64_t>(m_left, info.datalen);
    if (m_left == 0) {
      m_metadata.omitted.push_back(fmt::format("chunk \"{}\" of {} bytes: too large", id, info.datalen));
      return;
    }
    std::string bytes(info.datalen, '\0');
    info.data = bytes.data();
    if (sf_get_chunk_data(chunk, &info) != SF_ERR_NO_ERROR) {
      m_metadata.omitted.push_back(fmt::format("chunk \"{}\": cannot be read", id));
      return;
    }
    Add(id, std::move(bytes));
  }

  /// Whether Add takes chunks of that name.
  static bool IsKept(std::string_view id) {
    return id == "LIST" || id == "cue " || id == "id3 " || id == "ID3 " || id == "COMT" || id == "info" ||
           Find(kAiffTexts, id) != nullptr || Find(kDocuments, id) != nullptr;
  }

  /// Adds a chunk that is kept.
  void Add(std::string_view id, std::string bytes) {
    if (id == "LIST") {
      AddList(Numbers(bytes));
    } else if (id == "cue ") {
      AddCuePoints(Numbers(bytes));
    } else if (id == "COMT") {
      AddAiffComments({bytes, true}, m_metadata);
    } else if (id == "info") {
      AddCafInfo({bytes, true}, m_metadata);
    } else if (id == "id3 " || id == "ID3 ") {
      m_onId3v2(std::move(bytes));
    } else if (const Name* const text = Find(kAiffTexts, id)) {
      m_metadata.AddText(text->name, bytes);
    } else if (const Document* const document = Find(kDocuments, id)) {
      // Writers pad these texts with zeros.
      bytes.erase(bytes.find_last_not_of('\0') + 1);
      m_metadata.AddAttachment({.name = document->file,
                                .mimeType = document->mimeType,
                                .description = std::string(id),
                                .bytes = std::move(bytes)});
    }
  }

  /// The fields of a RIFF chunk. All numbers in RIFX files are big-endian.
  Fields Numbers(std::string_view bytes) const { return {bytes, m_isRifx}; }

  /// Adds the texts of a LIST of type INFO and the labels of one of type "adtl". TagLib would keep only one of several
  /// texts of the same name, and libsndfile reads no labels beyond 255 bytes.
  void AddList(Fields fields) {
    const std::string_view type = fields.Take(4);
    std::set<std::string> omitted;  // once each, since every cue point may have a note or a length
    const bool isWhole = ForEachSubchunk(fields, [&](std::string_view id, std::string_view content) {
      Fields label = Numbers(content);
      if (type == "INFO") {
        const Name* const known = Find(kInfoFields, id);
        m_metadata.AddText(known == nullptr ? id : known->name, content);
      } else if (type == "adtl" && id == "labl") {
        const std::size_t point = label.TakeNumber(4);
        m_labels[point] = std::string(label.TakeUpToZero());
      } else {
        omitted.insert(fmt::format("chunk \"{}\" in LIST \"{}\": not supported", id, type));
      }
    });
    m_metadata.omitted.insert(m_metadata.omitted.end(), omitted.begin(), omitted.end());
    if (!isWhole) {
      m_metadata.omitted.push_back(fmt::format("end of the RIFF {}: damaged", type));
    }
  }

  /// Collects the cue points of a WAV file. libsndfile does not read those of RF64 files.
  void AddCuePoints(Fields fields) {
    constexpr std::size_t kMost = 10'000;  // more than anybody sets: a damaged file must not give millions of chapters
    fields.Take(4);                        // their number follows from the size
    while (!fields.IsAtEnd()) {
      if (m_cuePoints.size() == kMost) {
        m_metadata.omitted.push_back(fmt::format("cue points beyond the first {}: too many", kMost));
        return;
      }
      const std::size_t id = fields.TakeNumber(4);
      constexpr std::size_t kPositionToBlockStart = 16;
      fields.Take(kPositionToBlockStart);
      if (fields.Left() >= 4) {
        m_cuePoints.push_back({id, fields.TakeNumber(4)});
      }
    }
  }

  SNDFILE* m_file;
  const SF_INFO& m_info;
  const OnId3v2& m_onId3v2;
  SoundMetadata& m_metadata;
  bool m_isRifx = false;
  std::vector<CuePoint> m_cuePoints;
  std::map<std::size_t, std::string> m_labels;  ///< by the number of the cue point
  std::uint64_t m_left = MetadataBytes::kLimit;
};

/// The text of a field of fixed size. A text that fills its field has no zero at its end.
template <std::size_t kSize>
std::string_view Field(const char (&field)[kSize]) {
  return {field, kSize};
}

/// A SMPTE unique material identifier (UMID) of 64 bytes as ffmpeg writes it; empty when there is none. A basic UMID
/// has 32 bytes, and zeros fill the rest of the field.
std::string UmidText(std::span<const char> umid) {
  constexpr std::size_t kBasic = 32;
  const auto isZero = [](char c) { return c == 0; };
  if (std::all_of(umid.begin(), umid.end(), isZero)) {
    return {};
  }
  const bool isBasic = std::all_of(umid.begin() + kBasic, umid.end(), isZero);
  std::string text = "0x";
  for (const char c : isBasic ? umid.first(kBasic) : umid) {
    text += fmt::format("{:02X}", static_cast<unsigned char>(c));
  }
  return text;
}

/// Adds the loudness fields of a bext chunk of version 2 (EBU Tech 3285), which count hundredths of a unit. 0x7FFF
/// stands for an unknown value.
void AddLoudness(const SF_BROADCAST_INFO& info, SoundMetadata& metadata) {
  constexpr std::int16_t kUnknown = 0x7FFF;
  const std::pair<const char*, std::int16_t> values[] = {{"LOUDNESS_VALUE", info.loudness_value},
                                                         {"LOUDNESS_RANGE", info.loudness_range},
                                                         {"MAX_TRUE_PEAK_LEVEL", info.max_true_peak_level},
                                                         {"MAX_MOMENTARY_LOUDNESS", info.max_momentary_loudness},
                                                         {"MAX_SHORT_TERM_LOUDNESS", info.max_shortterm_loudness}};
  for (const auto& [name, value] : values) {
    if (value != kUnknown) {
      metadata.AddText(name, fmt::format("{:.2f}", value / 100.0));
    }
  }
}

/// Adds the fields of a Broadcast WAV file's bext chunk, if it has one.
void AddBroadcastInfo(SNDFILE* file, SoundMetadata& metadata) {
  SF_BROADCAST_INFO head{};
  if (sf_command(file, SFC_GET_BROADCAST_INFO, &head, sizeof head) == SF_FALSE) {
    return;
  }
  // SF_BROADCAST_INFO has room for 256 bytes of coding history; the second request has room for a longer one.
  constexpr std::size_t kLongestHistory = 1 << 16;
  using BroadcastInfo = SF_BROADCAST_INFO_VAR(kLongestHistory);
  const auto info = std::make_unique<BroadcastInfo>();
  sf_command(file, SFC_GET_BROADCAST_INFO, info.get(), sizeof(BroadcastInfo));
  metadata.AddText("DESCRIPTION", Field(info->description));
  metadata.AddText("ORIGINATOR", Field(info->originator));
  metadata.AddText("ORIGINATOR_REFERENCE", Field(info->originator_reference));
  metadata.AddText("ORIGINATION_DATE", Field(info->origination_date));
  metadata.AddText("ORIGINATION_TIME", Field(info->origination_time));
  metadata.AddText("UMID", UmidText(info->umid));
  metadata.AddText("CODING_HISTORY", Field(info->coding_history).substr(0, info->coding_history_size));
  metadata.timeReference = std::uint64_t{info->time_reference_high} << 32 | info->time_reference_low;
  if (head.version >= 2) {
    AddLoudness(head, metadata);
  }
}

/// Adds the markers of AIFF as chapters.
void AddMarkers(SNDFILE* file, unsigned int sampleRate, SoundMetadata& metadata) {
  std::uint32_t count = 0;
  if (sf_command(file, SFC_GET_CUE_COUNT, &count, sizeof count) == SF_FALSE || count == 0) {
    return;
  }
  // SF_CUES declares an array of a hundred cue points, and libsndfile refuses less room than that.
  constexpr std::size_t kFewest = 100;
  const std::size_t size = sizeof(SF_CUES) + std::max<std::size_t>(count, kFewest) * sizeof(SF_CUE_POINT);
  std::vector<SF_CUES> room(size / sizeof(SF_CUES) + 1);
  if (sf_command(file, SFC_GET_CUE, room.data(), static_cast<int>(size)) == SF_FALSE) {
    metadata.omitted.push_back(fmt::format("{} markers: cannot be read", count));
    return;
  }
  const auto* const bytes = reinterpret_cast<const unsigned char*>(room.data()) + offsetof(SF_CUES, cue_points);
  for (std::size_t index = 0; index < std::min(count, room.front().cue_count); ++index) {
    SF_CUE_POINT point{};
    // A copy, since an index beyond the declared array would be undefined behaviour.
    std::memcpy(&point, bytes + index * sizeof point, sizeof point);
    metadata.AddChapter(point.sample_offset, sampleRate, std::string(Field(point.name)));
  }
}

/// Adds the texts that libsndfile offers for all formats alike.
void AddStrings(SNDFILE* file, SoundMetadata& metadata) {
  const std::pair<const char*, int> strings[] = {
      {"TITLE", SF_STR_TITLE},     {"ARTIST", SF_STR_ARTIST},           {"ALBUM", SF_STR_ALBUM},
      {"DATE", SF_STR_DATE},       {"TRACKNUMBER", SF_STR_TRACKNUMBER}, {"GENRE", SF_STR_GENRE},
      {"COMMENT", SF_STR_COMMENT}, {"COPYRIGHT", SF_STR_COPYRIGHT},     {"LICENSE", SF_STR_LICENSE},
      {"ENCODER", SF_STR_SOFTWARE}};
  for (const auto& [name, which] : strings) {
    const char* const text = sf_get_string(file, which);
    metadata.AddText(name, text == nullptr ? "" : text);
  }
}

}  // namespace

void AddSndfileMetadata(SNDFILE* file, const SF_INFO& info, const OnId3v2& onId3v2, SoundMetadata& metadata) {
  AddBroadcastInfo(file, metadata);
  if ((info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_AIFF) {
    AddMarkers(file, static_cast<unsigned int>(info.samplerate), metadata);
  }
  const std::size_t before = metadata.tags.size();
  ChunkReader(file, info, onId3v2, metadata).ReadAll();
  // libsndfile takes these texts from the same chunks, and knows fewer fields: they are the last resort.
  if (metadata.title.empty() && metadata.tags.size() == before) {
    AddStrings(file, metadata);
  }
}
