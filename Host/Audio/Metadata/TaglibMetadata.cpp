#include "Host/Audio/Metadata/TaglibMetadata.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>

#include <taglib/apetag.h>
#include <taglib/attachedpictureframe.h>
#include <taglib/chapterframe.h>
#include <taglib/flacpicture.h>
#include <taglib/generalencapsulatedobjectframe.h>
#include <taglib/id3v1tag.h>
#include <taglib/id3v2framefactory.h>
#include <taglib/id3v2tag.h>
#include <taglib/mpegfile.h>
#include <taglib/opusfile.h>
#include <taglib/textidentificationframe.h>
#include <taglib/tpropertymap.h>
#include <taglib/vorbisfile.h>

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

/// Adds the chapter of an ID3v2 CHAP frame. Its time is in milliseconds, its title in an embedded TIT2 frame.
void AddChapterFrame(const ID3v2::ChapterFrame& chapter, SoundMetadata& metadata) {
  constexpr unsigned int kTicksPerSecond = 1000;
  const ID3v2::FrameList& titles = chapter.embeddedFrameList("TIT2");
  metadata.AddChapter(chapter.startTime(), kTicksPerSecond,
                      titles.isEmpty() ? std::string() : titles.front()->toString().to8Bit(true));
}

/// Adds the file in an ID3v2 GEOB frame as an attachment.
void AddObject(const ID3v2::GeneralEncapsulatedObjectFrame& object, SoundMetadata& metadata) {
  metadata.attachments.push_back(
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
    } else if (const auto* const chapter = dynamic_cast<const ID3v2::ChapterFrame*>(frame)) {
      AddChapterFrame(*chapter, metadata);
    } else if (const auto* const object = dynamic_cast<const ID3v2::GeneralEncapsulatedObjectFrame*>(frame)) {
      AddObject(*object, metadata);
    }
  }
  for (const String& name : unsupported) {
    const std::string id = name.to8Bit(true);
    // This list also names the frames handled above, and CTOC, whose table of contents the chapters replace.
    if (!id.starts_with("APIC") && !id.starts_with("CHAP") && !id.starts_with("GEOB") && !id.starts_with("CTOC")) {
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

/// Adds the comments of an Ogg stream. `name` is the format as messages name it.
template <class File>
void AddOgg(Stream& stream, const char* name, SoundMetadata& metadata) {
  // `false`: without the audio properties, which would be read from the whole file.
  File file(&stream, false);
  if (file.tag() == nullptr) {
    metadata.omitted.push_back(fmt::format("comments of {}: damaged", name));
  } else {
    AddXiph(*file.tag(), metadata);
  }
}

/// Adds the tags of MPEG audio: ID3v2 at the beginning, APE and ID3v1 at the end.
void AddMpeg(Stream& stream, SoundMetadata& metadata) {
  MPEG::File file(&stream, ID3v2::FrameFactory::instance(), false);
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
      AddMpeg(stream, metadata);
      break;
    case TagFormat::kVorbis:
      AddOgg<Ogg::Vorbis::File>(stream, "Ogg Vorbis", metadata);
      break;
    case TagFormat::kOpus:
      AddOgg<Ogg::Opus::File>(stream, "Ogg Opus", metadata);
      break;
  }
}
