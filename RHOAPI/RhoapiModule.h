#pragma once

/// The entry points of a module, which a host finds by name and calls before it has an object. A module defines all
/// three. They use no shared state, may be called from any thread, and throw nothing.

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
/// write, and when out of memory.
RHOAPI_EXPORT IAudioCompressor* CreateAudioCompressor(unsigned int manufacturer, unsigned int codec);
}

/// The result of `make`, or null when it throws anything: for CreateAudioCompressor and CreateCopy, which no exception
/// may leave.
template <class Make>
auto NullOnFailure(Make make) noexcept -> decltype(make()) {
  try {
    return make();
  } catch (...) {
    return nullptr;
  }
}
