#include "Host/CommandLine/OptionValues.h"

#include "Host/Text/Errors.h"
#include "Host/Text/Numbers.h"
#include "Toolbox/KelUtils/Processes/SystemQueries.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string_view>

namespace {

/// A week. Test signals are for trying things out.
constexpr double kLongestTestSignal = 7.0 * 24 * 3600;

[[noreturn]] void Refuse(const char* option, const std::string& text, std::string_view expected) {
  throw WrongUse(fmt::format("{}: \"{}\" is not {}", option, text, expected));
}

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
  if (!seconds || !(*seconds >= 0) || *seconds > kLongestTestSignal) {
    Refuse(option, text, "a length in seconds, up to a week");
  }
  return *seconds;
}

unsigned int DefaultJobs() {
  return std::min(static_cast<unsigned int>(std::max(1, KelGetNumberProcessorsInSystem())), kMostJobs);
}
