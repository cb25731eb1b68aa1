#pragma once

/// Checks of what the Linear PCM compressor promises beyond the interfaces. Whether a compressor is one is read from
/// what it says of itself: the codec code 'LPCM' or the name "Linear PCM".

#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/CheckedModule.h"
#include "Host/Validate/Support/StreamSetup.h"

#include <array>

bool IsLinearPcm(IAudioCompressor& compressor);

/// A Check's `run` (see CheckedModule.h) that is skipped for other compressors.
template <void (*kCheck)(const CheckedModule& module)>
void OnLinearPcm(const std::string& path) {
  const CheckedModule module(path);
  if (!IsLinearPcm(*module.CreateCompressor())) {
    throw CheckSkipped{"the compressor is not Linear PCM, neither by its code nor by its name"};
  }
  kCheck(module);
}

/// A setup of these values.
StreamSetup PcmSetup(unsigned int sampleRate, unsigned int bits, const char* layout, double framesPerSecond);

/// The layouts with their channel counts, in the order of the setting.
struct PcmLayout {
  const char* name;
  unsigned int channels;
};
inline constexpr std::array<PcmLayout, 5> kPcmLayouts{{{"Mono", 1}, {"Stereo", 2}, {"5.1", 6}, {"6.1", 7}, {"7.1", 8}}};
inline constexpr std::array<unsigned int, 11> kPcmRates{8000,  11025, 16000, 22050, 24000, 32000,
                                                        44100, 48000, 64000, 88200, 96000};
inline constexpr std::array<unsigned int, 2> kPcmSizes{16, 24};
