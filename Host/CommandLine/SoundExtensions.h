#pragma once

#include <string>

/// Whether people take a file of that name for a sound: by its extension, of formats that libsndfile reads and of common
/// ones that it does not read.
///   HasSoundExtension("a.WAV"), HasSoundExtension("b.m4a"), not HasSoundExtension("notes.txt")
bool HasSoundExtension(const std::string& path);

/// Whether the extension says that a file is no Matroska: it is that of another format of sounds or films.
bool HasForeignExtension(const std::string& path);
