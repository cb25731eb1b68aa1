#include "Toolbox/KelUtils/Media/TimeCodes.h"

#include "Toolbox/KelUtils/Numbers/SaturatingCast.h"
#include "Toolbox/KelUtils/Text/Internal/TokenScanner.h"
#include "Toolbox/KelUtils/Text/Text.h"

#include <algorithm>
#include <array>
#include <limits>

namespace {

void AppendNumber(std::string& text, unsigned long long number, std::size_t minimumDigits) {
  const std::string digits = std::to_string(number);
  text.append(minimumDigits - std::min(minimumDigits, digits.size()), '0').append(digits);
}

bool Contains(const std::string& text, char character) { return text.find(character) != std::string::npos; }

}  // namespace

KelTimeCode KelStringToTimeCode(const std::string& text, bool useFrames) {
  std::array<int, 4> fields{};
  auto* field = fields.begin();
  // Tokenizes only the four fields and copies nothing: a number cannot extend beyond its token, since separators,
  // quotes and the terminating NUL are not part of a number.
  ScanTokens(
      text, [](char c) { return c == ':' || c == ';'; }, '"', false,
      [&](const char* token, const char* /*tokenEnd*/) {
        *field = KelConvertToScalar<int>(token);
        return ++field != fields.end();
      });

  KelTimeCode code{};
  code.hours = static_cast<short>(fields[0]);
  code.minutes = static_cast<unsigned char>(fields[1]);
  code.seconds = static_cast<unsigned char>(fields[2]);
  if (useFrames) {
    code.frames = static_cast<unsigned char>(fields[3]);
  } else {
    code.milliseconds = static_cast<unsigned short>(fields[3]);
  }
  code.dropFrame = Contains(text, ';') && Contains(text, ':');
  return code;
}

std::string KelTimeCodeToString(const KelTimeCode& code, bool useFrames) {
  std::string text = std::to_string(code.hours);
  text += ':';
  AppendNumber(text, code.minutes, 2);
  text += ':';
  AppendNumber(text, code.seconds, 2);
  text += useFrames && code.dropFrame ? ';' : ':';
  AppendNumber(text, useFrames ? code.frames : code.milliseconds, useFrames ? 2 : 3);
  return text;
}

std::string KelMakeTimeStamp(unsigned long long time, unsigned long long timeScale) {
  const unsigned long long milliseconds = timeScale == 0 ? 0 : time * 1000 / timeScale;
  std::string text;
  AppendNumber(text, milliseconds / 3600000, 2);
  text += '.';
  AppendNumber(text, milliseconds / 60000 % 60, 2);
  text += '.';
  AppendNumber(text, milliseconds / 1000 % 60, 2);
  text += '.';
  AppendNumber(text, milliseconds % 1000, 3);
  return text;
}

std::string KelMakeTimeStamp(long long time, unsigned long long timeScale) {
  // The magnitude is computed unsigned, because that of the lowest time does not fit in a signed number.
  const auto ticks = static_cast<unsigned long long>(time);
  return time < 0 ? std::string("-").append(KelMakeTimeStamp(0 - ticks, timeScale))
                  : KelMakeTimeStamp(ticks, timeScale);
}

unsigned long long KelUtils::rebaseTime(unsigned long long time, unsigned long long fromTimeBase,
                                        unsigned long long toTimeBase) {
  if (fromTimeBase == toTimeBase) {
    return time;
  }
  if (fromTimeBase == 0) {
    return time == 0 ? 0 : std::numeric_limits<unsigned long long>::max();
  }
  const double ticks = static_cast<double>(toTimeBase) * static_cast<double>(time);
  return SaturatingCast<unsigned long long>(ticks / static_cast<double>(fromTimeBase) + 0.5);
}
