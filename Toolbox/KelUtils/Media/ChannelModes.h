#pragma once

/// Channel layouts: names, channel counts, and the default layout of a channel count. Unknown input gives 0 or
/// "undefined"; there are no errors.

#include "RHOAPI/RHOAPIExport.h"

/// The channel layouts.
enum EChannelMode : unsigned int {
  kChannelModeUndefined = 0,
  kChannelModeMono = 1,
  kChannelModeStereo = 2,
  kChannelModeJointStereo = 3,
  kChannelModeDualChannel = 4,
  kChannelMode4_1 = 5,
  kChannelMode5_1 = 6,
  kChannelMode6_1 = 7,
  kChannelMode7_1 = 8,
  kChannelMode2_1 = 9,
  kChannelModeQuad = 10,
  kChannelMode2Channel = 11,
  kChannelMode4Channel = 12,
  kChannelMode6Channel = 13,
  kChannelMode8Channel = 14,
};

/// Number of channels of `mode`; 0 for the undefined and any unknown mode.
///   KelGetNumberChannels(kChannelMode5_1) == 6
RHOAPI_EXPORT unsigned int KelGetNumberChannels(EChannelMode mode);

/// Display name of `mode`, a constant of the module; "undefined" for the undefined and any unknown mode.
///   KelGetChannelModeName(kChannelModeQuad) is "Quad"
RHOAPI_EXPORT const char* KelGetChannelModeName(EChannelMode mode);

/// The default layout of 1 to 8 channels (mono, stereo, 2.1, quad, 4.1, 5.1, 6.1, 7.1); undefined for any other count.
/// Other modes with the same counts are never the result.
///   KelGetChannelMode(3) == kChannelMode2_1
RHOAPI_EXPORT EChannelMode KelGetChannelMode(int channels);

/// The mode of that exact name, letter case included; undefined when there is none or `name` is null.
///   KelGetChannelMode("7.1") == kChannelMode7_1, KelGetChannelMode("mono") == kChannelModeUndefined
RHOAPI_EXPORT EChannelMode KelGetChannelMode(const char* name);
