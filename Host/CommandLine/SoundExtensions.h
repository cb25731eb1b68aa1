#pragma once

#include <string>

/// Whether the extension is that of a sound file: of a format that libsndfile reads, or of a common one that it does
/// not read.
///   HasSoundExtension("a.WAV"), HasSoundExtension("b.m4a"), not HasSoundExtension("notes.txt")
bool HasSoundExtension(const std::string& path);

/// Whether the extension is that of a format of sounds or films other than Matroska.
bool HasForeignExtension(const std::string& path);
