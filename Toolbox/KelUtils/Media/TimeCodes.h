#pragma once

/// Media times: as time codes (hours to frames or milliseconds), as texts for display, and as counts of ticks that move
/// from one time base (ticks per second) to another.

#include "RHOAPI/RHOAPIExport.h"

#include <cstddef>
#include <string>

/// A time code. Plain data that crosses the ABI by value: eight bytes, fields in this order. Whether it counts frames
/// or milliseconds is not stored here but known to whoever holds it. No field is limited to a range: 75 minutes
/// stay 75.
struct KelTimeCode {
  short hours;
  unsigned char minutes;
  unsigned char seconds;
  unsigned short milliseconds;  ///< used when milliseconds are counted
  unsigned char frames;         ///< used when frames are counted
  bool dropFrame;               ///< the frames are counted the drop-frame way
};

static_assert(offsetof(KelTimeCode, hours) == 0 && offsetof(KelTimeCode, minutes) == 2 &&
              offsetof(KelTimeCode, seconds) == 3 && offsetof(KelTimeCode, milliseconds) == 4 &&
              offsetof(KelTimeCode, frames) == 6 && offsetof(KelTimeCode, dropFrame) == 7);
static_assert(sizeof(KelTimeCode) == 8);

/// Reads hours, minutes, seconds and frames (`useFrames`) or milliseconds, divided by ":" or ";". Empty fields are
/// skipped, a field between double quotes is one field, a field that is no number and a missing one are 0, more than
/// four are ignored; a number beyond int counts as the nearest int, and one too large for its field keeps its low bits.
/// Drop-frame when `text` has both ";" and ":".
///   KelStringToTimeCode("10:20:30;12", true) is 10 h, 20 min, 30 s, 12 frames, drop-frame
///   KelStringToTimeCode("5", false) is 5 h
RHOAPI_EXPORT KelTimeCode KelStringToTimeCode(const std::string& text, bool useFrames);

/// "hours:minutes:seconds:frames", with ";" before the frames of a drop-frame code, or
/// "hours:minutes:seconds:milliseconds". At least one digit of hours, three of milliseconds, two of all else. With the
/// same `useFrames` KelStringToTimeCode gives the code again, but for what is not written: the other count, and the
/// drop-frame flag of milliseconds.
///   "1:02:03:04", "1:02:03;04", "1:02:03:004"
RHOAPI_EXPORT std::string KelTimeCodeToString(const KelTimeCode& code, bool useFrames);

/// `time` ticks at `timeScale` ticks per second as "hours.minutes.seconds.milliseconds", cut to whole milliseconds,
/// with at least two digits each and three of milliseconds; "-" leads a negative time. time × 1000 is taken modulo
/// 2^64. At a time scale of 0 no time passes: all digits are 0, and the sign stays.
///   KelMakeTimeStamp(3723004ULL, 1000) == "01.02.03.004", KelMakeTimeStamp(-1500LL, 1000) == "-00.00.01.500"
RHOAPI_EXPORT std::string KelMakeTimeStamp(unsigned long long time, unsigned long long timeScale);
RHOAPI_EXPORT std::string KelMakeTimeStamp(long long time, unsigned long long timeScale);

/// Functions on ticks.
class RHOAPI_EXPORT KelUtils {
 public:
  /// `time` in ticks of `toTimeBase` instead of `fromTimeBase` per second, to the nearest tick, halves upwards. Exact
  /// between equal time bases, even 0; otherwise computed in double precision, and 2^64 - 1 where the result would be
  /// larger. Any other move from a `fromTimeBase` of 0 gives 0 when `time` is 0, and else 2^64 - 1.
  ///   KelUtils::rebaseTime(1470, 44100, 1000) == 33
  static unsigned long long rebaseTime(unsigned long long time, unsigned long long fromTimeBase,
                                       unsigned long long toTimeBase);
};
