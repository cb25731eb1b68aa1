#pragma once

#include <string>

/// Texts of a sound file, in valid UTF-8; empty where the file has none.
struct SoundTags {
  std::string title;
  std::string artist;
  std::string album;
  std::string comment;
  std::string date;
  std::string trackNumber;
};
