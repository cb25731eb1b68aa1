#pragma once

/// The module's entry points and the version that they report. The module offers one compressor: 'ZAV ', 'LPCM'.

#include "RHOAPI/RhoapiModule.h"

extern "C" {

/// The version that RhoGetAudioCompressorInfo writes.
RHOAPI_EXPORT extern const unsigned int kPCMCodecVersion;
}
