#pragma once

/// Values of settings, each of the type that belongs to the setting's kind.
///
///     SetValue(*compressor->GetSampleRateSetting(), 48000U);
///     const auto layout = std::get<std::string>(GetValue(*compressor->GetChannelModeSetting()));

#include "Toolbox/KelUtils/Media/TimeCodes.h"

#include <string>
#include <variant>
#include <vector>

class ISetting;

/// A range of time in ticks; `scale` is the number of ticks per second.
struct TimeRange {
  unsigned long long in = 0;
  unsigned long long out = 0;
  unsigned long long scale = 0;
};

///   kind              alternative
///   bool, unsigned    unsigned int; a bool is 0, 1 or any other number that the setting was given
///   int               int
///   double            double
///   enum, text, file  std::string; the selected entry of an enum
///   time code         KelTimeCode
///   time range        TimeRange
///   unsigned array    std::vector<unsigned int>
///   bytes             std::vector<unsigned char>
///   group, unknown    std::monostate
using SettingValue = std::variant<std::monostate, unsigned int, int, double, std::string, KelTimeCode, TimeRange,
                                  std::vector<unsigned int>, std::vector<unsigned char>>;

/// The value, also of an optional setting that is not specified.
SettingValue GetValue(ISetting& setting);

/// Whether `value` has the type that the setting takes and is among the allowable values, if there are any, or else in
/// the range, if there is one (a minimum below the maximum). A number of another type counts if the conversion is
/// exact; an entry of an enum is also found by other letter case.
bool IsAllowed(ISetting& setting, const SettingValue& value);

/// Changes the value. Throws WrongUse, which names label, value and what is allowed, if the value is not allowed or if
/// the setting does not return it afterwards; the setting then has its previous value.
void SetValue(ISetting& setting, const SettingValue& value);

/// Number of allowable values of a number or an enum; 0 if the setting has no list of them.
unsigned int NumberOfAllowableValues(ISetting& setting);
