#include "Host/CommandLine/SoundExtensions.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>

namespace {

/// The extension of Matroska files that contain sound alone. An output may have it.
constexpr std::string_view kMatroskaAudio = "mka";

/// In alphabetical order for the binary search. Extensions that mostly mean something else, such as "mat" and "raw",
/// are left out.
constexpr auto kSoundExtensions = std::to_array<std::string_view>(
    {"8svx", "aac",  "ac3",  "aif",  "aifc", "aiff", "amr", "ape",  "au",   "avr",   "bwf", "caf", "dff",  "dsf",
     "dts",  "eac3", "flac", "m4a",  "m4b",  "mka",  "mlp", "mp1",  "mp2",  "mp3",   "mp4", "mpc", "mpga", "nist",
     "oga",  "ogg",  "oma",  "opus", "paf",  "pvf",  "ra",  "rf64", "sd2",  "sds",   "sf",  "shn", "snd",  "sph",
     "spx",  "tak",  "thd",  "tta",  "voc",  "vox",  "w64", "wav",  "wave", "wavex", "wma", "wv",  "wve",  "xi"});
static_assert(std::is_sorted(kSoundExtensions.begin(), kSoundExtensions.end()));

/// Extensions of films. Such files are not inputs, but an output must not have their extensions either.
constexpr auto kFilmExtensions = std::to_array<std::string_view>({"avi", "mov", "mpg", "ogv", "webm", "wmv"});

/// In lower case, without the dot.
std::string ExtensionOf(const std::string& path) {
  std::string extension = std::filesystem::path(path).extension();
  // ASCII letters alone, independent of the locale.
  std::transform(extension.begin(), extension.end(), extension.begin(), [](char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  });
  return extension.empty() ? extension : extension.substr(1);
}

}  // namespace

bool HasSoundExtension(const std::string& path) {
  return std::binary_search(kSoundExtensions.begin(), kSoundExtensions.end(), ExtensionOf(path));
}

bool HasForeignExtension(const std::string& path) {
  const std::string extension = ExtensionOf(path);
  return (HasSoundExtension(path) && extension != kMatroskaAudio) ||
         std::find(kFilmExtensions.begin(), kFilmExtensions.end(), extension) != kFilmExtensions.end();
}
