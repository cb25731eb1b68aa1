#pragma once

/// Sounds that end before their header says.

#include <cstdint>
#include <string>
#include <string_view>

/// What happens to such a sound. Ogg streams have a last page instead of a length; MP3 without a Xing header, PAF, PVF,
/// IRCAM and streams of open size have neither.
enum class Truncation {
  kRefused,  ///< Failure that says how much is missing
  kAllowed,  ///< the sound is read as far as it goes; SoundSource::Notes says how much is missing
};

/// The note of a sound whose end nothing marks, so that a truncation cannot be noticed.
inline constexpr const char* kLengthIsNotStated = "it may be incomplete: the header does not state its length";

/// How much is missing, in `unit`, a noun in the plural.
///   MissingText("bytes", 100, 3) == "the header states 100 bytes of sound, 3 are missing"
std::string MissingText(std::string_view unit, std::uint64_t stated, std::uint64_t missing);
