#include "Toolbox/KelUtils/Media/ChannelModes.h"

#include <array>
#include <cstddef>
#include <cstring>

namespace {

struct ChannelMode {
  const char* name;
  unsigned int channels;
};

// Indexed by EChannelMode.
constexpr std::array<ChannelMode, 15> kModes{{
    {"undefined", 0},
    {"Mono", 1},
    {"Stereo", 2},
    {"Joint Stereo", 2},
    {"Dual Channel", 2},
    {"4.1", 5},
    {"5.1", 6},
    {"6.1", 7},
    {"7.1", 8},
    {"2.1", 3},
    {"Quad", 4},
    {"2 Channel", 2},
    {"4 Channel", 4},
    {"6 Channel", 6},
    {"8 Channel", 8},
}};

// Indexed by the channel count.
constexpr std::array<EChannelMode, 9> kDefaultModes{
    kChannelModeUndefined, kChannelModeMono, kChannelModeStereo, kChannelMode2_1, kChannelModeQuad,
    kChannelMode4_1,       kChannelMode5_1,  kChannelMode6_1,    kChannelMode7_1,
};

const ChannelMode& Describe(EChannelMode mode) { return kModes[mode < kModes.size() ? mode : kChannelModeUndefined]; }

}  // namespace

unsigned int KelGetNumberChannels(EChannelMode mode) { return Describe(mode).channels; }

const char* KelGetChannelModeName(EChannelMode mode) { return Describe(mode).name; }

EChannelMode KelGetChannelMode(int channels) {
  const auto count = static_cast<std::size_t>(channels);
  return channels >= 0 && count < kDefaultModes.size() ? kDefaultModes[count] : kChannelModeUndefined;
}

EChannelMode KelGetChannelMode(const char* name) {
  if (name != nullptr) {
    for (unsigned int mode = 0; mode < kModes.size(); ++mode) {
      if (std::strcmp(kModes[mode].name, name) == 0) {
        return static_cast<EChannelMode>(mode);
      }
    }
  }
  return kChannelModeUndefined;
}
