#pragma once

/// The module's entry points, found by name: what a host calls before it has an object. They touch no shared state, may
/// be called from any thread, and let no exception out.

#include "RHOAPI/RHOAPIExport.h"

class IAudioCompressor;

extern "C" {

/// The version that hosts are told.
RHOAPI_EXPORT extern const unsigned int kPCMCodecVersion;

/// Number of compressors that the module offers: 1.
RHOAPI_EXPORT int RhoGetNumberAudioCompressors();

/// Writes the four-character codes and the version of the compressor; a null pointer is skipped. With one compressor
/// the index is not looked at.
RHOAPI_EXPORT void RhoGetAudioCompressorInfo(unsigned int index, unsigned int* manufacturer, unsigned int* codec,
                                             unsigned int* version);

/// A new compressor, to be let go of with its Release; null for codes other than those that RhoGetAudioCompressorInfo
/// writes ('ZAV ' and 'LPCM') and when memory runs out.
RHOAPI_EXPORT IAudioCompressor* CreateAudioCompressor(unsigned int manufacturer, unsigned int codec);
}
