#include "Host/Audio/Metadata/SoundMetadata.h"

#include "Host/Text/Numbers.h"
#include "Host/Text/Utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <utility>

namespace {

struct Renaming {
  std::string_view from;
  std::string_view to;
};

/// Names that mkvmerge and ffmpeg change on the way to Matroska. Tags of the album keep names of their own, as ffmpeg
/// has them: readers that do not show levels would take the ARTIST of the level ALBUM for the track's.
constexpr Renaming kRenamings[] = {
    {"ALBUMARTIST", "ALBUM_ARTIST"},    {"DATE", "DATE_RECORDED"},      {"DISCNUMBER", "DISC"},
    {"ENCODED-BY", "ENCODED_BY"},       {"ENCODEDBY", "ENCODED_BY"},    {"ENCODING", "ENCODER"},
    {"LOCATION", "RECORDING_LOCATION"}, {"ORGANIZATION", "LABEL"},      {"PERFORMER", "LEAD_PERFORMER"},
    {"REMIXER", "REMIXED_BY"},          {"TRACKNUMBER", "PART_NUMBER"}, {"UNSYNCEDLYRICS", "LYRICS"},
};

/// mkvmerge's names for the kinds of pictures, in the order in which ID3v2 (APIC) and FLAC number them.
constexpr std::string_view kPictureNames[] = {"other",
                                              "icon",
                                              "other icon",
                                              "cover",
                                              "cover (back)",
                                              "leaflet page",
                                              "media",
                                              "lead artist - lead performer - soloist",
                                              "artist - performer",
                                              "conductor",
                                              "band - orchestra",
                                              "composer",
                                              "lyricist - text writer",
                                              "recording location",
                                              "during recording",
                                              "during performance",
                                              "movie - video screen capture",
                                              "a bright colored fish",
                                              "illustration",
                                              "band - artist logotype",
                                              "publisher - Studio logotype"};

struct ImageType {
  std::string_view signature;  ///< first bytes
  std::string_view mimeType;
  std::string_view extension;
};

/// Image formats by their first bytes, since the MIME types in tags are often wrong or missing.
constexpr ImageType kImageTypes[] = {
    {"\xFF\xD8\xFF", "image/jpeg", "jpg"}, {"\x89PNG", "image/png", "png"},
    {"GIF8", "image/gif", "gif"},          {"BM", "image/bmp", "bmp"},
    {"RIFF", "image/webp", "webp"},        {"II*", "image/tiff", "tif"},
    {"MM", "image/tiff", "tif"},
};

/// Text for a tag: UTF-8, without control characters other than line feed and tab, without white space at the end. It
/// ends at a zero byte, since fields of fixed size are filled up with zeros.
std::string CleanText(std::string_view text) {
  std::string clean = ToUtf8(text.substr(0, text.find('\0')));
  std::erase_if(clean, [](char c) { return (c >= 0 && c < ' ' && c != '\n' && c != '\t') || c == '\x7F'; });
  clean.erase(clean.find_last_not_of(" \n\t") + 1);
  return clean;
}

/// The name that a tag has in Matroska: capital letters, underscores for spaces, renamed by kRenamings.
std::string TagName(std::string_view name) {
  std::string result = CleanText(name);
  for (char& c : result) {
    c = c == ' ' ? '_' : c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  }
  const auto* const renaming = std::find_if(std::begin(kRenamings), std::end(kRenamings),
                                            [&](const auto& entry) { return entry.from == result; });
  return renaming == std::end(kRenamings) ? result : std::string(renaming->to);
}

/// Nanoseconds of "HH:MM:SS" or "HH:MM:SS.fff"; nothing for any other text.
std::optional<std::uint64_t> ParseChapterTime(std::string_view text) {
  if (text.size() < 8 || text[2] != ':' || text[5] != ':') {
    return std::nullopt;
  }
  const auto hours = ParseNumber<unsigned int>(text.substr(0, 2));
  const auto minutes = ParseNumber<unsigned int>(text.substr(3, 2));
  const auto seconds = ParseNumber<double>(text.substr(6));
  if (!hours || !minutes || !seconds || *minutes > 59 || !(*seconds >= 0 && *seconds < 60)) {
    return std::nullopt;
  }
  return (*hours * std::uint64_t{3600} + *minutes * std::uint64_t{60}) * 1'000'000'000 +
         static_cast<std::uint64_t>(std::llround(*seconds * 1e9));
}

}  // namespace

/// Appends an item, unless there are kMostItems.
template <class Item>
void SoundMetadata::Append(std::vector<Item>& items, Item item) {
  if (items.size() < kMostItems) {
    items.push_back(std::move(item));
  } else {
    m_hasTooMany = true;
  }
}

void SoundMetadata::AddText(std::string_view name, std::string_view text) {
  Tag tag{TagName(name), CleanText(text)};
  if (tag.text.empty() || tag.name.empty() || AddChapterMark(tag.name, tag.text)) {
    return;
  }
  // A second, different title becomes a tag.
  if (tag.name == "TITLE" && (title.empty() || title == tag.text)) {
    title = tag.text;
  } else if (tags.size() >= kMostItems || std::find(tags.begin(), tags.end(), tag) == tags.end()) {
    // Beyond the limit no look for a repetition, which takes longer than all else.
    Append(tags, std::move(tag));
  }
}

/// Takes the Vorbis comments CHAPTER001 (a time) and CHAPTER001NAME. Returns false for any other text, which then is a
/// tag. `name` is in capital letters.
bool SoundMetadata::AddChapterMark(std::string_view name, std::string_view text) {
  constexpr std::string_view kPrefix = "CHAPTER";
  constexpr std::size_t kDigits = 3;
  const std::string_view digits = name.substr(std::min(kPrefix.size(), name.size()), kDigits);
  if (!name.starts_with(kPrefix) || !ParseNumber<unsigned int>(digits)) {
    return false;
  }
  const std::string_view field = name.substr(kPrefix.size() + digits.size());
  if (const auto time = ParseChapterTime(text); field.empty() && time) {
    m_chapterMarks[std::string(digits)].nanoseconds = *time;
    return true;
  }
  if (field == "NAME") {
    m_chapterMarks[std::string(digits)].label = text;
    return true;
  }
  return false;
}

void SoundMetadata::AddPicture(unsigned int kind, const std::string& mimeType, std::string_view description,
                               std::string bytes) {
  // Kinds beyond the table are "other", which is the first.
  const std::string_view name = kPictureNames[kind < std::size(kPictureNames) ? kind : 0];
  // ID3v2 and FLAC mark a link in place of a picture by the MIME type "-->".
  if (mimeType == "-->" || bytes.empty()) {
    omitted.push_back(fmt::format("picture \"{}\": {}", name, bytes.empty() ? "empty" : "only a link"));
    return;
  }
  const auto* const type = std::find_if(std::begin(kImageTypes), std::end(kImageTypes),
                                        [&](const auto& entry) { return bytes.starts_with(entry.signature); });
  const bool isKnown = type != std::end(kImageTypes);
  const std::string stated = CleanText(mimeType);
  AddAttachment({.name = fmt::format("{}.{}", name, isKnown ? type->extension : "bin"),
                 .mimeType = isKnown          ? std::string(type->mimeType)
                             : stated.empty() ? "application/octet-stream"
                                              : stated,
                 .description = CleanText(description),
                 .bytes = std::move(bytes)});
}

void SoundMetadata::AddChapter(std::uint64_t sampleFrames, unsigned int sampleRate, std::string label) {
  constexpr std::uint64_t kSecond = 1'000'000'000;
  // Whole seconds and the rest are scaled apart, since sampleFrames × 10^9 may exceed 64 bits.
  Append(chapters,
         {sampleFrames / sampleRate * kSecond + (sampleFrames % sampleRate * kSecond + sampleRate / 2) / sampleRate,
          std::move(label)});
}

void SoundMetadata::AddAttachment(Attachment attachment) { Append(attachments, std::move(attachment)); }

void SoundMetadata::Complete() {
  for (const auto& [digits, mark] : m_chapterMarks) {
    // A label without a time marks nothing.
    if (mark.nanoseconds) {
      Append(chapters, {*mark.nanoseconds, mark.label});
    }
  }
  m_chapterMarks.clear();
  for (Chapter& chapter : chapters) {
    chapter.label = CleanText(chapter.label);
  }
  std::stable_sort(chapters.begin(), chapters.end(),
                   [](const Chapter& a, const Chapter& b) { return a.nanoseconds < b.nanoseconds; });
  NameCover();
  std::set<std::string> names;
  std::map<std::string, int> numbers;  // the last number given to each name that repeats
  for (Attachment& attachment : attachments) {
    const std::string name = CleanText(attachment.name);
    // Names from tags must not lead out of the folder that a reader extracts attachments to.
    std::string file = name.substr(name.find_last_of("/\\") + 1);
    file = file == "." || file == ".." ? "" : file;
    const std::size_t dot = std::min(file.rfind('.'), file.size());
    attachment.name = file.empty() ? "attachment" : file;
    for (int& number = numbers.try_emplace(attachment.name, 1).first->second; !names.insert(attachment.name).second;) {
      attachment.name = fmt::format("{} {}{}", file.substr(0, dot), ++number, file.substr(dot));
    }
  }
  ShortenOmitted();
}

/// Cuts the list of what is omitted to a length that can be read, and adds what the limits on items have omitted.
void SoundMetadata::ShortenOmitted() {
  constexpr std::size_t kMostNamed = 32;
  if (omitted.size() > kMostNamed) {
    const std::size_t more = omitted.size() - kMostNamed;
    omitted.resize(kMostNamed);
    omitted.push_back(fmt::format("{} more", more));
  }
  if (m_hasTooMany) {
    omitted.push_back(fmt::format("more than {} tags, chapters or attachments", kMostItems));
  }
}

/// Makes the first picture of the kind "other" the cover where the file has no front cover: many programs do not state
/// the kind.
void SoundMetadata::NameCover() {
  const auto begins = [](const char* start) {
    return [start](const Attachment& attachment) { return attachment.name.starts_with(start); };
  };
  const auto other = std::find_if(attachments.begin(), attachments.end(), begins("other."));
  if (other != attachments.end() && std::none_of(attachments.begin(), attachments.end(), begins("cover."))) {
    other->name.replace(0, std::string_view("other").size(), "cover");
  }
}

std::string TimeCodeText(std::uint64_t sampleFrames, unsigned int sampleRate, double framesPerSecond) {
  const auto framesPerCodeSecond = static_cast<std::uint64_t>(std::ceil(framesPerSecond));
  const std::uint64_t wholeSeconds = sampleFrames / sampleRate;
  const double seconds =
      static_cast<double>(wholeSeconds) + static_cast<double>(sampleFrames % sampleRate) / sampleRate;
  // The tolerance absorbs rounding errors: a sample frame at the beginning of a video frame belongs to that video
  // frame.
  const auto frames = static_cast<std::uint64_t>(seconds * framesPerSecond + 1e-6);
  const std::uint64_t codeSeconds = frames / framesPerCodeSecond;
  return fmt::format("{:02}:{:02}:{:02}:{:02}", codeSeconds / 3600 % 24, codeSeconds / 60 % 60, codeSeconds % 60,
                     frames % framesPerCodeSecond);
}
