#include "Host/Encode/FormatChoice.h"

#include "Host/Settings/SettingText.h"
#include "Host/Text/Errors.h"

#include <algorithm>

namespace {

[[noreturn]] void Refuse(bool isWish, const SoundFormat* source, const std::string& text) {
  if (isWish) {
    throw WrongUse(text);
  }
  throw Failure(source == nullptr ? text : source->name + ": " + text);
}

template <class Setting>
Setting& Existing(Setting* setting, const char* name) {
  if (setting == nullptr) {
    throw Failure(std::string("the compressor has no setting for the ") + name);
  }
  return *setting;
}

/// Sets what was wished for or follows from the source. `behind` goes behind the value in the refusal.
void SetOrRefuse(ISetting& setting, const std::string& value, bool isWish, const SoundFormat* source,
                 const std::string& behind) {
  try {
    SetValueText(setting, value);
  } catch (const WrongUse& refusal) {
    Refuse(isWish, source, refusal.what() + behind);
  }
}

/// The value to try in place of one that is not allowed: the next larger one, so that nothing is lost, else the
/// largest; 0 when none is allowed.
///   Substitute(rates, 37800) == 44100, Substitute(rates, 192000) == 96000
unsigned int Substitute(IUnsignedIntSetting& setting, unsigned int value) {
  unsigned int larger = 0;
  unsigned int largest = 0;
  for (unsigned int index = 0; index < setting.GetNumberOfAllowableValues(); ++index) {
    const unsigned int allowed = setting.GetAllowableValue(index);
    largest = std::max(largest, allowed);
    if (allowed > value && (larger == 0 || allowed < larger)) {
      larger = allowed;
    }
  }
  return larger != 0 ? larger : largest;
}

/// Sets a number that users give in `unit` with `option`.
void SetNumber(IUnsignedIntSetting& setting, unsigned int value, bool isWish, const SoundFormat* source,
               const std::string& unit, const std::string& option) {
  const unsigned int substitute = Substitute(setting, value);
  const std::string hint = substitute == 0 ? "" : ": try " + option + ' ' + std::to_string(substitute);
  SetOrRefuse(setting, std::to_string(value), isWish, source, ' ' + unit + hint);
}

std::string ChannelsText(unsigned int channels) {
  return std::to_string(channels) + (channels == 1 ? " channel" : " channels");
}

/// The default layout for a number of channels, as in "5.1"; empty where none has a name.
std::string DefaultLayout(unsigned int channels) {
  const EChannelMode mode = channels <= 8 ? KelGetChannelMode(static_cast<int>(channels)) : kChannelModeUndefined;
  return mode == kChannelModeUndefined ? std::string() : KelGetChannelModeName(mode);
}

void SetLayout(IAudioCompressor& compressor, IEnumSetting& setting, const RequestedFormat& requested,
               const SoundFormat* source) {
  if (!requested.layout && source == nullptr) {
    return;
  }
  const std::string layout = requested.layout ? *requested.layout : DefaultLayout(source->channels);
  if (!requested.layout && layout.empty()) {
    SetOrRefuse(setting, ChannelsText(source->channels), false, source, "");
  } else {
    SetOrRefuse(setting, layout, requested.layout.has_value(), source,
                requested.layout ? "" : " (" + ChannelsText(source->channels) + ')');
  }
  const unsigned int channels = KelGetNumberChannels(compressor.GetChannelMode());
  if (source != nullptr && channels != source->channels) {
    const std::string fitting = DefaultLayout(source->channels);
    const bool hasFitting = setting.FindIndexOf(fitting.c_str()) >= 0;
    Refuse(requested.layout.has_value(), nullptr,
           std::string(setting.GetLabel()) + ": " + setting.GetValue() + " has " + ChannelsText(channels) + ", " +
               source->name + " has " + std::to_string(source->channels) +
               (hasFitting ? ": try --channels " + fitting : std::string()));
  }
}

}  // namespace

EncodingFormat ChooseFormat(IAudioCompressor& compressor, const RequestedFormat& requested, const SoundFormat* source) {
  IUnsignedIntSetting& rate = Existing(compressor.GetSampleRateSetting(), "sample rate");
  IUnsignedIntSetting& bits = Existing(compressor.GetSampleSizeSetting(), "sample size");
  IEnumSetting& layout = Existing(compressor.GetChannelModeSetting(), "channel layout");

  const unsigned int sourceRate = source == nullptr ? rate.GetValue() : source->sampleRate;
  const unsigned int chosenRate = requested.sampleRate.value_or(sourceRate);
  SetNumber(rate, chosenRate, requested.sampleRate.has_value(), source, "Hz", "--rate");
  const unsigned int sourceBits = source != nullptr && source->significantBits > 16 ? 24 : 16;
  const unsigned int chosenBits = requested.bits.value_or(source == nullptr ? bits.GetValue() : sourceBits);
  SetNumber(bits, chosenBits, requested.bits.has_value(), source, "bits", "--bits");
  SetLayout(compressor, layout, requested, source);
  const std::string chosenLayout = layout.GetValue();
  compressor.ValidateSettings();

  EncodingFormat format{.sampleRate = compressor.GetSampleRate(),
                        .bits = compressor.GetSampleSize(),
                        .channels = KelGetNumberChannels(compressor.GetChannelMode()),
                        .layout = layout.GetValue()};
  if (format.sampleRate != chosenRate || format.bits != chosenBits || format.layout != chosenLayout ||
      format.channels == 0) {
    throw Failure("the compressor does not keep to " + std::to_string(chosenRate) + " Hz, " +
                  std::to_string(chosenBits) + " bits and " + chosenLayout + ", which it allows each");
  }
  if (compressor.GetAudioFormatType(format.sampleType) != kRhoStatusSuccess ||
      BytesPerSample(format.sampleType) * 8 != format.bits) {
    throw Failure("the compressor does not take samples of " + std::to_string(format.bits) + " bits");
  }
  return format;
}
