#pragma once

/// The metadata of a sound file in the terms of Matroska: tags, chapters, attachments. All texts are valid UTF-8
/// without control characters other than tab and line feed.
///
///     SoundMetadata metadata;
///     metadata.AddText("tracknumber", "7");           // the tag PART_NUMBER
///     metadata.AddText("CHAPTER001", "00:01:30.000");  // a chapter, once Complete() has been called
///     metadata.Complete();

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct SoundMetadata {
  /// How many tags, chapters and attachments, of each, are kept: more than any real file has. A hostile file could
  /// state millions.
  static constexpr std::size_t kMostItems = 4096;

  struct Tag {
    std::string name;  ///< as mkvmerge names it, else as ffmpeg does, in capital letters
    std::string text;
    bool operator==(const Tag&) const = default;
  };

  struct Chapter {
    std::uint64_t nanoseconds = 0;  ///< where it begins
    std::string label;              ///< may be empty
  };

  struct Attachment {
    std::string name;  ///< file name without folders, unique after Complete()
    std::string mimeType;
    std::string description;
    std::string bytes;
  };

  std::string title;
  std::vector<Tag> tags;  ///< names may repeat
  std::vector<Chapter> chapters;
  std::vector<Attachment> attachments;
  std::optional<std::uint64_t> timeReference;  ///< sample frames from midnight to the first one
  std::vector<std::string> omitted;            ///< what cannot be kept, and why: "chunk smpl: not supported"

  /// Adds a text under the name that the file has for it: a Vorbis comment's, in any case, or the same of other
  /// formats. The first TITLE becomes the title; chapter marks (CHAPTER001, CHAPTER001NAME) become chapters. Empty
  /// texts and those that exist already under that name are ignored.
  void AddText(std::string_view name, std::string_view text);

  /// Adds a picture of one of the kinds that ID3v2 and FLAC number, named as mkvmerge does: cover.jpg, "cover
  /// (back).png". A link in place of a picture, and one without bytes, is omitted.
  void AddPicture(unsigned int kind, const std::string& mimeType, std::string_view description, std::string bytes);

  /// Adds a chapter that begins at a sample frame. `sampleRate` is at least 1.
  void AddChapter(std::uint64_t sampleFrames, unsigned int sampleRate, std::string label);

  /// Adds an attachment; Complete() makes its name unique.
  void AddAttachment(Attachment attachment);

  /// Sorts the chapters, makes the names of attachments unique, and shortens a long list of what is omitted.
  void Complete();

 private:
  struct ChapterMark {
    std::optional<std::uint64_t> nanoseconds;
    std::string label;
  };
  std::map<std::string, ChapterMark> m_chapterMarks;  ///< by the digits in their name
  bool m_hasTooMany = false;

  template <class Item>
  void Append(std::vector<Item>& items, Item item);
  void NameCover();
  void ShortenOmitted();
  bool AddChapterMark(std::string_view name, std::string_view text);
};

/// A position in a sound as a time code without dropped frames, as ffmpeg reads it: hours (modulo 24), minutes,
/// seconds, frames. At fractional frame rates every second of the code has the next whole number of frames.
///
///     TimeCodeText(48000 * 3600 + 24000, 48000, 25) == "01:00:00:12"
std::string TimeCodeText(std::uint64_t sampleFrames, unsigned int sampleRate, double framesPerSecond);
