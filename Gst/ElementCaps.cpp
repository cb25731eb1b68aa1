#include "Gst/ElementCaps.h"

#include "Host/Encode/SpeakerLayout.h"
#include "Host/Text/Errors.h"
#include "Toolbox/KelUtils/Media/ChannelModes.h"

#include <algorithm>
#include <array>
#include <bit>
#include <initializer_list>
#include <limits>
#include <set>

using Json = nlohmann::ordered_json;

namespace {

/// The bits of WAV's channel mask that GStreamer has too, lowest first; both order channels by them.
constexpr std::array<GstAudioChannelPosition, 11> kPositions{
    GST_AUDIO_CHANNEL_POSITION_FRONT_LEFT,
    GST_AUDIO_CHANNEL_POSITION_FRONT_RIGHT,
    GST_AUDIO_CHANNEL_POSITION_FRONT_CENTER,
    GST_AUDIO_CHANNEL_POSITION_LFE1,
    GST_AUDIO_CHANNEL_POSITION_REAR_LEFT,
    GST_AUDIO_CHANNEL_POSITION_REAR_RIGHT,
    GST_AUDIO_CHANNEL_POSITION_FRONT_LEFT_OF_CENTER,
    GST_AUDIO_CHANNEL_POSITION_FRONT_RIGHT_OF_CENTER,
    GST_AUDIO_CHANNEL_POSITION_REAR_CENTER,
    GST_AUDIO_CHANNEL_POSITION_SIDE_LEFT,
    GST_AUDIO_CHANNEL_POSITION_SIDE_RIGHT,
};
static_assert(std::is_sorted(kPositions.begin(), kPositions.end()), "no channels need to change places");

/// GStreamer's channel mask of a WAV channel mask. Bits for which GStreamer has no position are dropped.
guint64 GstMask(std::uint32_t wavMask) {
  guint64 mask = 0;
  for (std::size_t bit = 0; bit < kPositions.size(); ++bit) {
    mask |= (wavMask >> bit & 1U) != 0 ? guint64{1} << kPositions.at(bit) : 0;
  }
  return mask;
}

/// GStreamer's masks of all layouts that stand for this number of channels by default, the usual one first.
std::vector<guint64> DefaultMasks(int channels) {
  std::vector<guint64> masks;
  // Tries all combinations of speakers: there are 2,047.
  for (std::uint32_t mask = 1; mask < 1U << kPositions.size(); ++mask) {
    if (std::popcount(mask) == channels && LayoutOf(mask, static_cast<unsigned int>(channels)).isDefault) {
      masks.push_back(GstMask(mask));
    }
  }
  const guint64 usual = gst_audio_channel_get_fallback_mask(channels);
  // GStreamer prefers the first entry of a list when it fixes caps.
  std::stable_partition(masks.begin(), masks.end(), [usual](guint64 mask) { return mask == usual; });
  return masks;
}

/// A GValue of its own that ends with the scope.
class Value {
 public:
  explicit Value(GType type) { g_value_init(&m_value, type); }
  Value(const Value&) = delete;
  Value& operator=(const Value&) = delete;
  ~Value() { g_value_unset(&m_value); }
  GValue* Get() { return &m_value; }

 private:
  GValue m_value{};
};

/// Gives `field` of the structure a list of all `items`. `setter` writes one item into a GValue of `type`.
template <class Items, class Setter>
void SetList(GstStructure* structure, const char* field, GType type, const Items& items, Setter setter) {
  Value list(GST_TYPE_LIST);
  for (const auto& item : items) {
    Value value(type);
    setter(value.Get(), item);
    gst_value_list_append_value(list.Get(), value.Get());
  }
  gst_structure_set_value(structure, field, list.Get());
}

/// The setting with that role in a description ("standard" in docs/info.md, as in "sampleRate"); null if there is none.
const Json* FindStandard(const Json& settings, std::string_view standard) {
  const auto found = std::find_if(settings.begin(), settings.end(), [standard](const Json& setting) {
    return setting.value("standard", std::string()) == standard;
  });
  return found == settings.end() ? nullptr : &*found;
}

/// The same; throws Failure if there is none.
const Json& Existing(const Json& settings, std::string_view standard) {
  const Json* const setting = FindStandard(settings, standard);
  if (setting == nullptr) {
    throw Failure("the compressor lacks a setting for its format");
  }
  return *setting;
}

/// Whether a number is among those that a setting allows.
bool Allows(const Json& setting, unsigned int value) {
  const Json& values = setting["allowableValues"];
  if (!values.empty()) {
    return std::find(values.begin(), values.end(), value) != values.end();
  }
  const auto lowest = setting["minimum"].get<unsigned int>();
  const auto highest = setting["maximum"].get<unsigned int>();
  // A minimum that is not below the maximum does not make a range.
  return lowest >= highest || (value >= lowest && value <= highest);
}

/// GStreamer's rates and numbers of channels are signed: larger numbers become the largest int.
int ToInt(unsigned int value) {
  return static_cast<int>(std::min<unsigned int>(value, std::numeric_limits<int>::max()));
}

}  // namespace

OfferedFormats ReadFormats(const Json& settings) {
  OfferedFormats formats;
  const Json& rate = Existing(settings, "sampleRate");
  for (const Json& value : rate["allowableValues"]) {
    formats.rates.push_back(ToInt(value.get<unsigned int>()));
  }
  const auto lowest = rate["minimum"].get<unsigned int>();
  const auto highest = rate["maximum"].get<unsigned int>();
  // Without a range the compressor takes any rate. GStreamer has no rate 0.
  formats.lowestRate = lowest < highest ? std::max(ToInt(lowest), 1) : 1;
  formats.highestRate = lowest < highest ? ToInt(highest) : std::numeric_limits<int>::max();

  const Json& size = Existing(settings, "sampleSize");
  // The sizes for which input records have a format.
  for (const unsigned int bits : {16U, 24U}) {
    if (Allows(size, bits)) {
      formats.bits.push_back(ToInt(bits));
    }
  }
  for (const Json& value : Existing(settings, "channels")["allowableValues"]) {
    const auto name = value.get<std::string>();
    // 0 for the name of a layout that is not known.
    if (const unsigned int channels = KelGetNumberChannels(KelGetChannelMode(name.c_str())); channels != 0) {
      formats.layouts.push_back({name, ToInt(channels)});
    }
  }
  if (formats.bits.empty() || formats.layouts.empty()) {
    throw Failure("the compressor takes no samples of 16 or 24 bits in a channel layout that is known");
  }
  return formats;
}

CapsPointer RawCaps(const OfferedFormats& formats, bool anySpeakers) {
  // One structure for each number of channels, since the channel masks depend on it. Several layouts may have the same.
  std::set<int> counts;
  for (const OfferedLayout& layout : formats.layouts) {
    counts.insert(layout.channels);
  }
  CapsPointer caps(gst_caps_new_empty());
  for (const int channels : counts) {
    const std::vector<guint64> masks = DefaultMasks(channels);
    GstStructure* const structure = gst_structure_new("audio/x-raw", "layout", G_TYPE_STRING, "interleaved", "channels",
                                                      G_TYPE_INT, channels, nullptr);
    SetList(structure, "format", G_TYPE_STRING, formats.bits, [](GValue* value, int bits) {
      // Packed in three bytes, in the machine's byte order, as the compressor takes them.
      g_value_set_static_string(value, bits == 24 ? GST_AUDIO_NE(S24) : GST_AUDIO_NE(S16));
    });
    if (formats.rates.empty()) {
      gst_structure_set(structure, "rate", GST_TYPE_INT_RANGE, formats.lowestRate, formats.highestRate, nullptr);
    } else {
      SetList(structure, "rate", G_TYPE_INT, formats.rates, g_value_set_int);
    }
    // One and two channels need not say which speakers they are for.
    if (!anySpeakers && channels > 2) {
      SetList(structure, "channel-mask", GST_TYPE_BITMASK, masks, gst_value_set_bitmask);
    }
    gst_caps_append_structure(caps.get(), structure);
  }
  return caps;
}

std::uint32_t WavSpeakers(const GstAudioInfo& info) {
  if (info.channels == 1) {
    // GStreamer's position for a single channel is MONO, which is not among kPositions.
    return 0x4;  // front center
  }
  std::uint32_t mask = 0;
  for (int channel = 0; channel < info.channels; ++channel) {
    const auto* const found =
        std::find(kPositions.begin(), kPositions.end(), info.position[channel]);  // NOLINT: an array of GStreamer
    if (found == kPositions.end()) {
      return 0;
    }
    mask |= 1U << (found - kPositions.begin());
  }
  return mask;
}
