#pragma once

/// Names of channel layouts that are more exact than a number of channels.

#include <cstdint>
#include <string>

/// A layout that a sound states.
struct SpeakerLayout {
  std::string name;      ///< as ffmpeg names it: "3.0", "5.1(side)"; "other" if it has no name
  std::string speakers;  ///< as in "FL FR FC"; empty if the channels have no speakers

  /// Whether it is a form of the layout that this number of channels has by default: Mono, Stereo, 2.1, Quad, 4.1, 5.1,
  /// 6.1 or 7.1.
  bool isDefault = false;
};

/// The layout of `channels` channels with these speakers: bits of a WAV channel mask, lowest first. Speakers beyond the
/// channels do not count; 0 stands for channels without speakers.
///   LayoutOf(0x7, 3) is {"3.0", "FL FR FC", false}, LayoutOf(0x60F, 6) is {"5.1(side)", "FL FR FC LFE SL SR", true}
SpeakerLayout LayoutOf(std::uint32_t speakers, unsigned int channels);
