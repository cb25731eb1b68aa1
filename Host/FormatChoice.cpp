#include "Host/FormatChoice.h"

#include "Host/Errors.h"

#include <strings.h>
#include <algorithm>
#include <vector>

namespace {

/// How one number of the format is called where users meet it.
struct NumberNames {
  const char* unit;
  const char* option;
};
constexpr NumberNames kRateNames{"Hz", "--rate"};
constexpr NumberNames kBitsNames{"bits", "--bits"};

[[noreturn]] void Refuse(bool isWish, const std::string& text) {
  if (isWish) {
    throw WrongUse(text);
  }
  throw Failure(text);
}

template <class Setting>
Setting& Existing(Setting* setting, const char* name) {
  if (setting == nullptr) {
    throw Failure(std::string("the compressor has no setting for the ") + name);
  }
  return *setting;
}

/// "a, b and c"
std::string Enumerate(const std::vector<std::string>& texts) {
  std::string list;
  for (std::size_t index = 0; index < texts.size(); ++index) {
    if (index != 0) {
      list += index + 1 == texts.size() ? " and " : ", ";
    }
    list += texts[index];
  }
  return list;
}

std::vector<unsigned int> AllowedValues(const IUnsignedIntSetting& setting) {
  std::vector<unsigned int> values(setting.GetNumberOfAllowableValues());
  for (unsigned int index = 0; index < values.size(); ++index) {
    values[index] = setting.GetAllowableValue(index);
  }
  std::sort(values.begin(), values.end());
  return values;
}

/// The value to try in place of one that is not allowed: the next larger one, so that nothing is lost, else the
/// largest.
///   Substitute(37800, rates) == 44100, Substitute(192000, rates) == 96000
unsigned int Substitute(unsigned int value, const std::vector<unsigned int>& allowed) {
  const auto larger = std::upper_bound(allowed.begin(), allowed.end(), value);
  return larger == allowed.end() ? allowed.back() : *larger;
}

void SetNumber(IUnsignedIntSetting& setting, unsigned int value, bool isWish, const NumberNames& names) {
  const std::vector<unsigned int> allowed = AllowedValues(setting);
  if (!std::binary_search(allowed.begin(), allowed.end(), value)) {
    std::vector<std::string> texts(allowed.size());
    std::transform(allowed.begin(), allowed.end(), texts.begin(),
                   [](unsigned int number) { return std::to_string(number); });
    std::string text = std::string(setting.GetLabel()) + ": allowed are " + Enumerate(texts) + ", not " +
                       std::to_string(value) + " " + names.unit;
    if (!allowed.empty()) {
      text += std::string(": try ") + names.option + " " + std::to_string(Substitute(value, allowed));
    }
    Refuse(isWish, text);
  }
  setting.SetValue(value);
  if (setting.GetValue() != value) {
    throw Failure(std::string(setting.GetLabel()) + ": the compressor allows " + std::to_string(value) +
                  " but does not take it");
  }
}

std::vector<std::string> AllowedTexts(const IEnumSetting& setting) {
  std::vector<std::string> texts(setting.GetNumberOfAllowableValues());
  for (unsigned int index = 0; index < texts.size(); ++index) {
    texts[index] = setting.GetAllowableValue(index);
  }
  return texts;
}

/// Selects the layout of that name, letter case aside. False when there is none.
bool SelectLayout(IEnumSetting& setting, const std::string& name) {
  const std::vector<std::string> allowed = AllowedTexts(setting);
  const auto found = std::find_if(allowed.begin(), allowed.end(), [&name](const std::string& text) {
    return strcasecmp(text.c_str(), name.c_str()) == 0;
  });
  if (found == allowed.end()) {
    return false;
  }
  setting.SetSelected(static_cast<unsigned int>(found - allowed.begin()));
  return *found == setting.GetValue();
}

std::string ChannelsText(unsigned int channels) {
  return std::to_string(channels) + (channels == 1 ? " channel" : " channels");
}

/// The default layout for a number of channels, as in "5.1"; empty where none has a name.
std::string DefaultLayout(unsigned int channels) {
  const EChannelMode mode = channels <= 8 ? KelGetChannelMode(static_cast<int>(channels)) : kChannelModeUndefined;
  return mode == kChannelModeUndefined ? std::string() : KelGetChannelModeName(mode);
}

void SetLayout(IAudioCompressor& compressor, IEnumSetting& setting, const FormatWishes& wishes,
               const SoundFormat* source) {
  if (!wishes.layout && source == nullptr) {
    return;
  }
  const std::string layout = wishes.layout ? *wishes.layout : DefaultLayout(source->channels);
  const std::string label = setting.GetLabel();
  if (!SelectLayout(setting, layout)) {
    const std::string refused = wishes.layout    ? "\"" + layout + "\""
                                : layout.empty() ? ChannelsText(source->channels)
                                                 : layout + " (" + ChannelsText(source->channels) + ")";
    Refuse(wishes.layout.has_value(), label + ": allowed are " + Enumerate(AllowedTexts(setting)) + ", not " + refused);
  }
  const unsigned int channels = KelGetNumberChannels(compressor.GetChannelMode());
  if (source != nullptr && channels != source->channels) {
    const std::string fitting = DefaultLayout(source->channels);
    const bool hasFitting = setting.FindIndexOf(fitting.c_str()) >= 0;
    Refuse(wishes.layout.has_value(), label + ": " + setting.GetValue() + " has " + ChannelsText(channels) +
                                          ", the input has " + std::to_string(source->channels) +
                                          (hasFitting ? ": try --channels " + fitting : std::string()));
  }
}

}  // namespace

EncodingFormat ChooseFormat(IAudioCompressor& compressor, const FormatWishes& wishes, const SoundFormat* source) {
  IUnsignedIntSetting& rate = Existing(compressor.GetSampleRateSetting(), "sample rate");
  IUnsignedIntSetting& bits = Existing(compressor.GetSampleSizeSetting(), "sample size");
  IEnumSetting& layout = Existing(compressor.GetChannelModeSetting(), "channel layout");

  SetNumber(rate, wishes.sampleRate.value_or(source == nullptr ? rate.GetValue() : source->sampleRate),
            wishes.sampleRate.has_value(), kRateNames);
  const unsigned int sourceBits = source != nullptr && source->significantBits > 16 ? 24 : 16;
  SetNumber(bits, wishes.bits.value_or(source == nullptr ? bits.GetValue() : sourceBits), wishes.bits.has_value(),
            kBitsNames);
  SetLayout(compressor, layout, wishes, source);
  compressor.ValidateSettings();

  EncodingFormat format{.sampleRate = compressor.GetSampleRate(),
                        .bits = compressor.GetSampleSize(),
                        .channels = KelGetNumberChannels(compressor.GetChannelMode()),
                        .layout = layout.GetValue()};
  if (compressor.GetAudioFormatType(format.sampleType) != kRhoStatusSuccess ||
      BytesPerSample(format.sampleType) * 8 != format.bits) {
    throw Failure("the compressor does not take samples of " + std::to_string(format.bits) + " bits");
  }
  return format;
}
