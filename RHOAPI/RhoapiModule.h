#pragma once

/// The entry points of a module, found by name: what a host calls before it has an object. A module defines all three.
/// They touch no shared state, may be called from any thread, and let no exception out.

#include "RHOAPI/RHOAPIExport.h"

class IAudioCompressor;

extern "C" {

/// Number of compressors that the module offers.
RHOAPI_EXPORT int RhoGetNumberAudioCompressors();

/// Writes the four-character codes and the version of a compressor; skips null pointers. With one compressor the index
/// is not read.
RHOAPI_EXPORT void RhoGetAudioCompressorInfo(unsigned int index, unsigned int* manufacturer, unsigned int* codec,
                                             unsigned int* version);

/// A new compressor, which the caller frees with its Release; null for codes that RhoGetAudioCompressorInfo does not
/// write, and when memory runs out.
RHOAPI_EXPORT IAudioCompressor* CreateAudioCompressor(unsigned int manufacturer, unsigned int codec);
}

/// What `make` returns, or null when it throws anything: for CreateAudioCompressor and CreateCopy, where a module's
/// factories meet the host.
template <class Make>
auto NullOnFailure(Make make) noexcept -> decltype(make()) {
  try {
    return make();
  } catch (...) {
    return nullptr;
  }
}
