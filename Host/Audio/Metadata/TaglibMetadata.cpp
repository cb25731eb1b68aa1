#include "Host/Audio/Metadata/TaglibMetadata.h"

#include "Host/Audio/ByteNumbers.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <string_view>

#include <taglib/apetag.h>
#include <taglib/attachedpictureframe.h>
#include <taglib/flacpicture.h>
#include <taglib/generalencapsulatedobjectframe.h>
#include <taglib/id3v1tag.h>
#include <taglib/id3v2framefactory.h>
#include <taglib/id3v2tag.h>
#include <taglib/mpegfile.h>
#include <taglib/oggfile.h>
#include <taglib/textidentificationframe.h>
#include <taglib/tpropertymap.h>
#include <taglib/unknownframe.h>
#include <taglib/xiphcomment.h>

using namespace TagLib;

namespace {

/// MetadataBytes as TagLib's input. TagLib only reads, so the functions that write do nothing.
class Stream final : public IOStream {
 public:
  explicit Stream(MetadataBytes& bytes) : m_bytes(bytes) {}

  FileName name() const override { return m_bytes.Name().c_str(); }
  bool readOnly() const override { return true; }
  bool isOpen() const override { return true; }
  long tell() const override { return static_cast<long>(m_bytes.Position()); }
  long length() override { return static_cast<long>(m_bytes.Length()); }

  ByteVector readBlock(unsigned long length) override {
    // A damaged tag asks for more than there is: memory must not be allocated by its size.
    const std::uint64_t left = m_bytes.Length() - std::min(m_bytes.Position(), m_bytes.Length());
    const auto size = std::min<std::uint64_t>({length, left, MetadataBytes::kLimit});
    ByteVector block(static_cast<unsigned int>(size), '\0');
    block.resize(static_cast<unsigned int>(m_bytes.Read(block.data(), static_cast<std::size_t>(size))));
    return block;
  }

  void seek(long offset, Position from) override {
    const long base = from == Beginning ? 0 : from == Current ? tell() : length();
    // A damaged file may send TagLib to a place before its beginning.
    m_bytes.Seek(static_cast<std::uint64_t>(std::max(0L, base + offset)));
  }

  void writeBlock(const ByteVector& /*data*/) override {}
  void insert(const ByteVector& /*data*/, unsigned long /*start*/, unsigned long /*replace*/) override {}
  void removeBlock(unsigned long /*start*/, unsigned long /*length*/) override {}
  void truncate(long /*length*/) override {}

 private:
  MetadataBytes& m_bytes;
};

std::string Bytes(const ByteVector& vector) { return {vector.data(), vector.size()}; }

/// Adds all texts. TagLib's `to8Bit(true)` is UTF-8.
void AddTexts(const PropertyMap& properties, SoundMetadata& metadata) {
  for (const auto& [name, texts] : properties) {
    for (const String& text : texts) {
      metadata.AddText(name.to8Bit(true), text.to8Bit(true));
    }
  }
}

/// Makes the frames of ID3v2 tags within limits that TagLib lacks.
class Frames final : public ID3v2::FrameFactory {
 public:
  /// True after a tag of more than SoundMetadata::kMostItems frames: the others were not read.
  bool AreTooMany() const { return m_count > SoundMetadata::kMostItems; }

 private:
  /// The name is protected in TagLib, though it is that of a parameter of updateFrame.
  struct Access : ID3v2::Frame {
    using Header = Frame::Header;
  };

  /// TagLib calls this for each frame. False makes it an UnknownFrame, which keeps the frame's bytes.
  bool updateFrame(Access::Header* header) const override {
    if (++m_count > SoundMetadata::kMostItems) {
      header->setFrameSize(0);  // TagLib stops at an empty frame
      return false;
    }
    if (header->compression()) {
      // TagLib would expand kilobytes to gigabytes. A header without flags leaves the bytes as they are.
      const unsigned int size = header->frameSize();
      header->setData(header->frameID() + ByteVector(6, '\0'), header->version());
      header->setFrameSize(size);
      return false;
    }
    // These frames hold frames, and TagLib reads nested ones recursively, to any depth.
    return header->frameID() != "CHAP" && header->frameID() != "CTOC" && FrameFactory::updateFrame(header);
  }

  mutable std::size_t m_count = 0;  // mutable, since updateFrame is const
};

/// Adds the chapter of an ID3v2 CHAP frame: a name with a zero at its end, beginning and end in milliseconds and in
/// bytes (32 bits each), and frames, of which TIT2 is the title.
void AddChapterFrame(const ByteVector& chapter, const ID3v2::Tag& tag, SoundMetadata& metadata) {
  constexpr unsigned int kTicksPerSecond = 1000;
  constexpr unsigned int kTimes = 16;
  constexpr unsigned int kHeader = 10;
  const int nameEnd = chapter.find('\0');
  if (nameEnd < 0 || chapter.size() < static_cast<unsigned int>(nameEnd) + 1 + kTimes) {
    metadata.omitted.emplace_back("chapter: damaged");
    return;
  }
  const unsigned int times = static_cast<unsigned int>(nameEnd) + 1;
  const Frames frames;
  std::string title;
  for (unsigned int at = times + kTimes; title.empty() && at < chapter.size();) {
    const std::unique_ptr<ID3v2::Frame> frame(frames.createFrame(chapter.mid(at), tag.header()));
    if (frame == nullptr || frame->size() == 0) {
      break;
    }
    title = frame->frameID() == "TIT2" ? frame->toString().to8Bit(true) : "";
    at += kHeader + frame->size();
  }
  metadata.AddChapter(chapter.toUInt(times), kTicksPerSecond, std::move(title));
}

/// Adds the file in an ID3v2 GEOB frame as an attachment.
void AddObject(const ID3v2::GeneralEncapsulatedObjectFrame& object, SoundMetadata& metadata) {
  metadata.AddAttachment(
      {.name = object.fileName().to8Bit(true),
       .mimeType = object.mimeType().isEmpty() ? "application/octet-stream" : object.mimeType().to8Bit(true),
       .description = object.description().to8Bit(true),
       .bytes = Bytes(object.object())});
}

/// Adds the frames of an ID3v2 tag, and names those that are omitted.
void AddId3v2(const ID3v2::Tag& tag, SoundMetadata& metadata) {
  const PropertyMap properties = tag.properties();
  AddTexts(properties, metadata);
  StringList unsupported = properties.unsupportedData();
  for (const ID3v2::Frame* const frame : tag.frameList()) {
    const auto entry = unsupported.find(String(frame->frameID()));
    if (const auto* const text = dynamic_cast<const ID3v2::TextIdentificationFrame*>(frame);
        text != nullptr && entry != unsupported.end()) {
      // TagLib has no name for this text, or not for all roles in a list of people (TIPL).
      metadata.AddText(Bytes(frame->frameID()), text->fieldList().toString(", ").to8Bit(true));
      unsupported.erase(entry);
    } else if (const auto* const named = dynamic_cast<const ID3v2::UserTextIdentificationFrame*>(frame);
               named != nullptr && (named->fieldList().size() < 2 || named->fieldList().back().isEmpty())) {
      // TagLib takes the text of a frame without a name for its name.
      metadata.omitted.push_back(
          fmt::format("ID3v2 frame TXXX \"{}\": has no name or no text", named->description().to8Bit(true)));
    } else if (const auto* const picture = dynamic_cast<const ID3v2::AttachedPictureFrame*>(frame)) {
      metadata.AddPicture(picture->type(), picture->mimeType().to8Bit(true), picture->description().to8Bit(true),
                          Bytes(picture->picture()));
    } else if (const auto* const chapter = dynamic_cast<const ID3v2::UnknownFrame*>(frame);
               chapter != nullptr && chapter->frameID() == "CHAP") {
      AddChapterFrame(chapter->data(), tag, metadata);
    } else if (const auto* const object = dynamic_cast<const ID3v2::GeneralEncapsulatedObjectFrame*>(frame)) {
      AddObject(*object, metadata);
    }
  }
  for (const String& name : unsupported) {
    // TagLib puts a word before the names of frames that it does not know or may not read.
    constexpr std::string_view kUnknown = "UNKNOWN/";
    std::string id = name.to8Bit(true);
    const bool isUnknown = id.starts_with(kUnknown);
    id.erase(0, isUnknown ? kUnknown.size() : 0);
    // This list also names the frames handled above, and CTOC, whose table of contents the chapters replace.
    const bool isKept =
        id == "CHAP" || id == "CTOC" || (!isUnknown && (id.starts_with("APIC") || id.starts_with("GEOB")));
    if (!isKept) {
      metadata.omitted.push_back(fmt::format("ID3v2 frame {}: not supported", id));
    }
  }
}

/// Adds the Vorbis comments and pictures of an Ogg stream.
void AddXiph(Ogg::XiphComment& comments, SoundMetadata& metadata) {
  AddTexts(comments.properties(), metadata);
  for (const FLAC::Picture* const picture : comments.pictureList()) {
    metadata.AddPicture(static_cast<unsigned int>(picture->type()), picture->mimeType().to8Bit(true),
                        picture->description().to8Bit(true), Bytes(picture->data()));
  }
}

/// The packets of an Ogg stream. TagLib's own classes for Vorbis and Opus expand any number of comments.
class OggPackets final : public Ogg::File {
 public:
  explicit OggPackets(IOStream& stream) : Ogg::File(&stream) {}
  Tag* tag() const override { return nullptr; }
  AudioProperties* audioProperties() const override { return nullptr; }
};

/// Adds the comments of an Ogg stream, which are its second packet, behind `magic`. `name` is the format as messages
/// name it.
void AddOgg(Stream& stream, std::string_view magic, const char* name, SoundMetadata& metadata) {
  OggPackets packets(stream);
  const ByteVector packet = packets.packet(1);
  const ByteVector comments = packet.mid(static_cast<unsigned int>(magic.size()));
  // The length of the encoder's name, the name, and the number of comments precede them, 32 bits each.
  constexpr unsigned int kNumber = 4;
  const unsigned int nameSize = comments.toUInt(0U, false);
  if (!packet.startsWith(ByteVector(magic.data(), static_cast<unsigned int>(magic.size()))) ||
      comments.size() < 2 * kNumber || nameSize > comments.size() - 2 * kNumber) {
    metadata.omitted.push_back(fmt::format("comments of {}: damaged", name));
  } else if (comments.toUInt(kNumber + nameSize, false) > SoundMetadata::kMostItems) {
    metadata.omitted.push_back(fmt::format("comments of {}: too many", name));
  } else {
    Ogg::XiphComment comment(comments);
    AddXiph(comment, metadata);
  }
}

/// Whether the file ends with an APE tag of too many items, before an ID3v1 tag or not: TagLib would read them all.
bool HasHugeApeTag(MetadataBytes& bytes) {
  constexpr std::uint64_t kId3v1 = 128;
  constexpr std::size_t kCountAt = 16;
  std::array<unsigned char, 32> footer{};
  for (const std::uint64_t behind : {std::uint64_t{0}, kId3v1}) {
    bytes.Seek(bytes.Length() - std::min(bytes.Length(), footer.size() + behind));
    if (bytes.Read(footer.data(), footer.size()) == footer.size() &&
        std::string_view(reinterpret_cast<const char*>(footer.data()), footer.size()).starts_with("APETAGEX") &&
        ReadNumber(footer.data() + kCountAt, 4, false) > SoundMetadata::kMostItems) {
      return true;
    }
  }
  bytes.Seek(0);
  return false;
}

/// Adds the tags of MPEG audio: ID3v2 at the beginning, APE and ID3v1 at the end.
void AddMpeg(MetadataBytes& bytes, SoundMetadata& metadata) {
  if (HasHugeApeTag(bytes)) {
    metadata.omitted.emplace_back("tags: too many APE items");
    return;
  }
  Stream stream(bytes);
  Frames frames;
  MPEG::File file(&stream, &frames, false);
  if (frames.AreTooMany()) {
    metadata.omitted.emplace_back("a part of the ID3v2 tag: too many frames");
  }
  if (file.hasID3v2Tag()) {
    AddId3v2(*file.ID3v2Tag(), metadata);
  }
  if (file.hasAPETag()) {
    const PropertyMap properties = file.APETag()->properties();
    AddTexts(properties, metadata);
    for (const String& name : properties.unsupportedData()) {
      metadata.omitted.push_back(fmt::format("APE item {}: not supported", name.to8Bit(true)));
    }
  }
  // An ID3v1 tag repeats the other tags in fields of 30 characters.
  if (file.hasID3v1Tag() && !file.hasID3v2Tag() && !file.hasAPETag()) {
    AddTexts(file.ID3v1Tag()->properties(), metadata);
  }
}

}  // namespace

extern "C" __attribute__((visibility("default"))) void ReadTags(TagFormat format, MetadataBytes& bytes,
                                                                SoundMetadata& metadata) {
  Stream stream(bytes);
  switch (format) {
    case TagFormat::kId3v2:
    case TagFormat::kMpeg:
      AddMpeg(bytes, metadata);
      break;
    case TagFormat::kVorbis:
      AddOgg(stream, "\3vorbis", "Ogg Vorbis", metadata);
      break;
    case TagFormat::kOpus:
      AddOgg(stream, "OpusTags", "Ogg Opus", metadata);
      break;
  }
}
