#pragma once

/// The caps of a compressor's input and output.

#include "Gst/GstPointers.h"

#include <gst/audio/audio.h>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>
#include <vector>

/// A channel layout that a compressor offers.
struct OfferedLayout {
  std::string name;  ///< as in "5.1"
  int channels = 0;
};

/// The formats of samples that a compressor offers.
struct OfferedFormats {
  std::vector<int> rates;  ///< in Hz; empty: all in the range
  int lowestRate = 1;
  int highestRate = 0;
  std::vector<int> bits;  ///< 16, 24 or both
  std::vector<OfferedLayout> layouts;
};

/// The formats of a compressor whose description has these settings. Throws Failure if there are none in which
/// GStreamer can hand over samples.
OfferedFormats ReadFormats(const nlohmann::ordered_json& settings);

/// Caps of raw audio in these formats. With `anySpeakers` the channels may be for any speakers; otherwise for those
/// that a layout stands for by default.
CapsPointer RawCaps(const OfferedFormats& formats, bool anySpeakers);

/// The WAV channel mask of the channels in `info`; 0 if they are for none or for speakers that WAV has no bits for.
std::uint32_t WavSpeakers(const GstAudioInfo& info);
