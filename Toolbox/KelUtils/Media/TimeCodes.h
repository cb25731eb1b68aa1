#pragma once

/// Media times: time codes (hours to frames or milliseconds), texts for display, and conversion of tick counts from one
/// time base (ticks per second) to another.

#include "RHOAPI/RHOAPIExport.h"

#include <cstddef>
#include <string>

/// A time code. Plain data that crosses the ABI by value: eight bytes, fields in this order. It does not store whether
/// it counts frames or milliseconds; the functions below are told. No field is limited to a range: 75 minutes stay 75.
struct KelTimeCode {
  short hours;                  ///< may be negative
  unsigned char minutes;        ///< 0 to 255
  unsigned char seconds;        ///< 0 to 255
  unsigned short milliseconds;  ///< used when milliseconds are counted
  unsigned char frames;         ///< used when frames are counted
  bool dropFrame;               ///< frames are counted in drop-frame
};

static_assert(offsetof(KelTimeCode, hours) == 0 && offsetof(KelTimeCode, minutes) == 2 &&
              offsetof(KelTimeCode, seconds) == 3 && offsetof(KelTimeCode, milliseconds) == 4 &&
              offsetof(KelTimeCode, frames) == 6 && offsetof(KelTimeCode, dropFrame) == 7);
static_assert(sizeof(KelTimeCode) == 8);

/// Reads hours, minutes, seconds and frames (`useFrames`) or milliseconds, separated by ":" or ";". Skips empty fields,
/// treats text between double quotes as one field, and ignores fields after the fourth. A field that is missing or not
/// a number is 0. A number beyond int counts as the nearest int; a number that is too large for its field is reduced to
/// the low bits. Drop-frame when `text` contains both ";" and ":". Linear in the length of the text, in constant
/// memory.
///   KelStringToTimeCode("10:20:30;12", true) is 10 h, 20 min, 30 s, 12 frames, drop-frame
///   KelStringToTimeCode("5", false) is 5 h
RHOAPI_EXPORT KelTimeCode KelStringToTimeCode(const std::string& text, bool useFrames);

/// "hours:minutes:seconds:frames", with ";" before the frames of a drop-frame code, or
/// "hours:minutes:seconds:milliseconds". Hours have at least one digit, milliseconds three, the others two. With the
/// same `useFrames` KelStringToTimeCode reads the same code back, except for what is not written: the other count, and
/// the drop-frame flag of a code in milliseconds.
///   "1:02:03:04", "1:02:03;04", "1:02:03:004"
RHOAPI_EXPORT std::string KelTimeCodeToString(const KelTimeCode& code, bool useFrames);

/// `time` ticks at `timeScale` ticks per second as "hours.minutes.seconds.milliseconds", truncated to whole
/// milliseconds, with at least two digits each and three for milliseconds; a negative time begins with "-". time × 1000
/// is computed modulo 2^64. At a time scale of 0 all digits are 0, and the sign is kept.
///   KelMakeTimeStamp(3723004ULL, 1000) == "01.02.03.004", KelMakeTimeStamp(-1500LL, 1000) == "-00.00.01.500"
RHOAPI_EXPORT std::string KelMakeTimeStamp(unsigned long long time, unsigned long long timeScale);
/// The same for a time that may be negative.
RHOAPI_EXPORT std::string KelMakeTimeStamp(long long time, unsigned long long timeScale);

/// Functions on ticks.
class RHOAPI_EXPORT KelUtils {
 public:
  /// Converts `time` from `fromTimeBase` to `toTimeBase` ticks per second, rounded to the nearest tick, halves upward.
  /// Exact between equal time bases, also 0; otherwise computed in double precision, with 2^64 - 1 for any larger
  /// result. From a `fromTimeBase` of 0 to another one: 0 when `time` is 0, else 2^64 - 1.
  ///   KelUtils::rebaseTime(1470, 44100, 1000) == 33
  static unsigned long long rebaseTime(unsigned long long time, unsigned long long fromTimeBase,
                                       unsigned long long toTimeBase);
};
