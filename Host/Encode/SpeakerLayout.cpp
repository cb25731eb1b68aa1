#include "Host/Encode/SpeakerLayout.h"

#include <algorithm>
#include <array>
#include <bit>

namespace {

/// A layout by its speakers: bits of dwChannelMask of WAVEFORMATEXTENSIBLE.
struct Layout {
  std::uint32_t speakers;
  const char* name;
  bool isDefault;
};

/// With the names of ffmpeg.
constexpr std::array<Layout, 26> kLayouts{{
    {0x4, "mono", true},          {0x3, "stereo", true},       {0xB, "2.1", true},
    {0x7, "3.0", false},          {0x103, "3.0(back)", false}, {0xF, "3.1", false},
    {0x33, "quad", true},         {0x603, "quad(side)", true}, {0x107, "4.0", false},
    {0x10F, "4.1", true},         {0x3B, "4.1(quad)", true},  // no name in ffmpeg
    {0x37, "5.0", false},         {0x607, "5.0(side)", false}, {0x3F, "5.1", true},
    {0x60F, "5.1(side)", true},   {0x707, "6.0", false},       {0x6C3, "6.0(front)", false},
    {0x137, "hexagonal", false},  {0x70F, "6.1", true},        {0x13F, "6.1(back)", true},
    {0x6CB, "6.1(front)", false}, {0x637, "7.0", false},       {0x6C7, "7.0(front)", false},
    {0x63F, "7.1", true},         {0xFF, "7.1(wide)", false},  {0x6CF, "7.1(wide-side)", false},
}};

/// By the bit in the mask, lowest first.
constexpr std::array<const char*, 18> kSpeakers{"FL", "FR", "FC", "LFE", "BL",  "BR",  "FLC", "FRC", "BC",
                                                "SL", "SR", "TC", "TFL", "TFC", "TFR", "TBL", "TBC", "TBR"};

}  // namespace

SpeakerLayout LayoutOf(std::uint32_t speakers, unsigned int channels) {
  if (speakers == 0) {
    // Without speakers one or two channels still are mono or stereo.
    return {"discrete", "", channels <= 2};
  }
  // WAVEFORMATEXTENSIBLE: the highest bits beyond the number of channels are ignored.
  while (std::popcount(speakers) > static_cast<int>(channels)) {
    speakers &= ~std::bit_floor(speakers);
  }
  SpeakerLayout layout{"other", "", channels == 1};
  for (unsigned int bit = 0; bit < 32; ++bit) {
    if ((speakers >> bit & 1U) != 0) {
      layout.speakers += layout.speakers.empty() ? "" : " ";
      layout.speakers += bit < kSpeakers.size() ? kSpeakers.at(bit) : "?";
    }
  }
  const auto* const found = std::find_if(kLayouts.begin(), kLayouts.end(), [&](const Layout& known) {
    // With fewer speakers than channels some channels have none: no known layout.
    return known.speakers == speakers && std::popcount(speakers) == static_cast<int>(channels);
  });
  if (found != kLayouts.end()) {
    layout.name = found->name;
    layout.isDefault = found->isDefault;
  }
  return layout;
}
