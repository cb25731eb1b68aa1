#include "Host/CommandLine/OptionValues.h"

#include "Host/Text/Errors.h"
#include "Host/Text/Numbers.h"
#include "Toolbox/KelUtils/Processes/SystemQueries.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <string_view>

#include <sched.h>

namespace {

/// In seconds: a week.
constexpr double kLongestTestSignal = 7.0 * 24 * 3600;

/// Throws WrongUse: "OPTION: "TEXT" is not EXPECTED".
[[noreturn]] void Refuse(const char* option, const std::string& text, std::string_view expected) {
  throw WrongUse(fmt::format("{}: \"{}\" is not {}", option, text, expected));
}

/// "29.97" or "30000/1001"; nothing for any other text and for a denominator of 0. May return infinity or NaN.
std::optional<double> ParseFrameRate(std::string_view text) {
  if (const std::size_t slash = text.find('/'); slash != std::string_view::npos) {
    const auto numerator = ParseNumber<unsigned int>(text.substr(0, slash));
    const auto denominator = ParseNumber<unsigned int>(text.substr(slash + 1));
    return numerator && denominator && *denominator != 0 ? std::optional(static_cast<double>(*numerator) / *denominator)
                                                         : std::nullopt;
  }
  return ParseNumber<double>(text);
}

}  // namespace

std::string ReadFileName(const char* option, const std::string& text) {
  if (text.empty()) {
    throw WrongUse(fmt::format("{}: the name is empty", option));
  }
  return text;
}

unsigned int ReadWholeNumber(const char* option, const std::string& text) {
  const auto number = ParseNumber<unsigned int>(text);
  if (!number) {
    Refuse(option, text, "a whole number");
  }
  return *number;
}

unsigned int ReadCount(const char* option, const std::string& text, unsigned int most) {
  const auto number = ParseNumber<unsigned int>(text);
  if (!number || *number == 0 || *number > most) {
    Refuse(option, text, fmt::format("a number from 1 to {}", most));
  }
  return *number;
}

double ReadFrameRate(const char* option, const std::string& text) {
  const std::optional<double> rate = ParseFrameRate(text);
  if (!rate || !std::isfinite(*rate) || *rate < 1) {
    Refuse(option, text, "a frame rate of 1 or more");
  }
  return *rate;
}

double ReadSeconds(const char* option, const std::string& text) {
  const auto seconds = ParseNumber<double>(text);
  // The negation refuses NaN too.
  if (!seconds || !(*seconds >= 0) || *seconds > kLongestTestSignal) {
    Refuse(option, text, "a length in seconds, up to a week");
  }
  return *seconds;
}

RawFormat ReadRawFormat(const char* option, const std::string& text) {
  const std::optional<RawFormat> format = ParseRawFormat(text);
  if (!format) {
    Refuse(option, text, "RATE:FORMAT:CHANNELS, as in 44100:s16le:2; formats are " + RawFormatNames());
  }
  return *format;
}

OnClash ReadOnClash(const char* option, const std::string& text) {
  // In the order of OnClash.
  constexpr std::array<const char*, 4> kWords{"fail", "skip", "number", "keep-extension"};
  const auto* const found = std::find(kWords.begin(), kWords.end(), text);
  if (found == kWords.end()) {
    Refuse(option, text, "fail, skip, number or keep-extension");
  }
  return static_cast<OnClash>(found - kWords.begin());
}

std::string ReadSuffix(const char* option, const std::string& text) {
  std::string suffix = text.starts_with('.') ? text : "." + text;
  if (suffix != ".mkv" && suffix != ".mka") {
    Refuse(option, text, "one of the suffixes of Matroska files: .mkv or .mka");
  }
  return suffix;
}

unsigned int DefaultJobs() {
  // A batch system or a container may let the process use fewer processors than there are.
  cpu_set_t usable;
  const int processors =
      sched_getaffinity(0, sizeof usable, &usable) == 0 ? CPU_COUNT(&usable) : KelGetNumberProcessorsInSystem();
  return std::clamp(static_cast<unsigned int>(processors), 1U, kMostJobs);
}
