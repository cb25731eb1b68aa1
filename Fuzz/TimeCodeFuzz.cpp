// Time codes, time stamps, time bases and frame rates.

#include "Fuzz/Fuzz.h"
#include "Toolbox/KelUtils.h"

#include <cmath>

void Fuzz(FuzzedDataProvider& data) {
  const bool useFrames = data.ConsumeBool();
  const double rate = data.ConsumeFloatingPointInRange(-1.0, 250.0);
  // Numbers of every magnitude.
  const auto number = [&] { return data.ConsumeIntegral<unsigned long long>() >> data.ConsumeIntegralInRange(0, 63); };
  const auto time = number();
  const auto from = number();
  const auto to = number();
  const std::string text = data.ConsumeRemainingBytesAsString();

  // The expected time code, by other functions: the first four fields, each reduced to the width of its member.
  std::vector<int> fields;
  for (const auto& token : TokenizedSlowly(ReplacedSlowly(text, ";", ":"), ':', '"', false)) {
    std::istringstream(token.c_str()) >> fields.emplace_back();
  }
  fields.resize(4);
  const KelTimeCode code = KelStringToTimeCode(text, useFrames);
  const std::string written = KelTimeCodeToString(code, useFrames);
  Expect(code.dropFrame == (text.find(';') < text.size() && text.find(':') < text.size()));
  char expected[40];
  std::snprintf(expected, sizeof expected, useFrames ? "%d:%02d:%02d%c%02d" : "%d:%02d:%02d%c%03d",
                static_cast<short>(fields[0]), fields[1] & 0xFF, fields[2] & 0xFF,
                useFrames && code.dropFrame ? ';' : ':', fields[3] & (useFrames ? 0xFF : 0xFFFF));
  Expect(written == expected);
  Expect(KelTimeCodeToString(KelStringToTimeCode(written, useFrames), useFrames) == written);

  unsigned long long part[4] = {};
  std::sscanf(KelMakeTimeStamp(time, from).c_str(), "%llu.%2llu.%2llu.%3llu", &part[0], &part[1], &part[2], &part[3]);
  const auto milliseconds = ((part[0] * 60 + part[1]) * 60 + part[2]) * 1000 + part[3];
  Expect(milliseconds == (from == 0 ? 0 : time * 1000 / from));
  // Compared with floating point, whose rounding grows with the number.
  const auto rebased = static_cast<double>(KelUtils::rebaseTime(time, from, to));
  const double exact =
      from == 0 ? HUGE_VAL : static_cast<double>(time) * static_cast<double>(to) / static_cast<double>(from);
  Expect(!(exact < 0x1p64) || std::fabs(exact - rebased) <= 0.5 + exact * 0x1p-50);

  double difference = 0;
  const double closest = KelFindClosestStdFrameRate(rate, 1000, &difference);
  const double next = KelFindNextStdFrameRate(rate);
  Expect(difference == closest - rate && KelFindClosestStdFrameRate(rate, std::fabs(difference), nullptr) == closest);
  Expect(next == rate || (rate - next < 0.02 && std::fabs(difference) <= std::fabs(next - rate)));
}
