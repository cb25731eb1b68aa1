#include "Host/Encode/EncodingFormat.h"

#include "Host/Encode/SpeakerLayout.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Numbers.h"

#include <fmt/format.h>

#include <vector>

namespace {

/// The setting, which must not be null. Throws Failure that calls it `name`.
template <class Setting>
Setting& Existing(Setting* setting, const char* name) {
  if (setting == nullptr) {
    throw Failure(fmt::format("the compressor has no setting for the {}", name));
  }
  return *setting;
}

std::string ChannelsText(unsigned int channels) { return CountText(channels, "channel", "channels"); }

/// The default layout for a number of channels, as in "5.1"; empty if there is none.
std::string DefaultLayout(unsigned int channels) {
  // KelGetChannelMode knows up to 8 channels.
  const EChannelMode mode = channels <= 8 ? KelGetChannelMode(static_cast<int>(channels)) : kChannelModeUndefined;
  return mode == kChannelModeUndefined ? std::string() : KelGetChannelModeName(mode);
}

/// The layout of a source, and what to put behind its name in a refusal.
struct SourceLayout {
  std::string name;
  std::string explanation;
  std::string suggestion;
};

/// The layout that the source has by its speakers or, without those, by its number of channels.
SourceLayout LayoutOfSource(const SoundFormat& source, IEnumSetting& setting, const SuggestionPrefixes& suggestions) {
  const std::string channels = ChannelsText(source.channels);
  const std::string byCount = DefaultLayout(source.channels);
  const std::string split = *suggestions.split == 0 ? std::string() : fmt::format(": {}", suggestions.split);
  const SpeakerLayout stated =
      source.speakers ? LayoutOf(*source.speakers, source.channels) : SpeakerLayout{"", "", true};
  // A name that no setting allows, such as "10 channels", makes the setting refuse it with this name in the message.
  if (stated.isDefault) {
    return {byCount.empty() ? channels : byCount, byCount.empty() ? "" : fmt::format(" ({})", channels), split};
  }
  // The speakers differ from those of the default layout. Only the user can say that the channels fit it all the same.
  const bool isAllowed = setting.FindIndexOf(byCount.c_str()) >= 0;
  return {stated.name, fmt::format(" ({})", stated.speakers.empty() ? channels : stated.speakers),
          isAllowed ? fmt::format(": {}{} if it is that{}{}", suggestions.layout, byCount,
                                  *suggestions.split == 0 ? "" : ", or ", suggestions.split)
                    : split};
}

/// The allowed value nearest to `value`, the larger of two; `value` when none is allowed.
unsigned int NearestAllowed(IUnsignedIntSetting& setting, unsigned int value) {
  const auto distance = [value](unsigned int allowed) { return allowed > value ? allowed - value : value - allowed; };
  unsigned int nearest = value;
  for (unsigned int index = 0; index < setting.GetNumberOfAllowableValues(); ++index) {
    const unsigned int allowed = setting.GetAllowableValue(index);
    if (index == 0 || distance(allowed) < distance(nearest) ||
        (distance(allowed) == distance(nearest) && allowed > nearest)) {
      nearest = allowed;
    }
  }
  return nearest;
}

/// Gives the three settings the source's values where the user has chosen none.
void FollowSource(IAudioCompressor& compressor, const SoundFormat& source, const Choices& choices,
                  const SuggestionPrefixes& suggestions) {
  const std::string name = source.name + ": ";
  std::vector<Assignment> assignments;
  const auto follow = [&](ISetting* setting, SettingValue value, std::string unit, const char* suggestion) {
    // The nearest rate is a choice without a value: it outranks a rate that a preset or --set has given.
    const bool isNearestRate = choices.nearestRate && setting == compressor.GetSampleRateSetting();
    if (!choices.Contains(setting) || isNearestRate) {
      assignments.push_back({.setting = setting,
                             .value = std::move(value),
                             .source = name,
                             .unit = std::move(unit),
                             .suggestion = suggestion});
    }
  };
  IUnsignedIntSetting& rate = *compressor.GetSampleRateSetting();
  follow(&rate, choices.nearestRate ? NearestAllowed(rate, source.sampleRate) : source.sampleRate, " Hz",
         suggestions.sampleRate);
  follow(compressor.GetSampleSizeSetting(), source.significantBits > 16 ? 24U : 16U, " bits", suggestions.bits);
  const SourceLayout layout = LayoutOfSource(source, *compressor.GetChannelModeSetting(), suggestions);
  follow(compressor.GetChannelModeSetting(), layout.name, layout.explanation + layout.suggestion, "");
  // A refusal names the source: the value is its own, not the user's.
  try {
    Assign(compressor, assignments);
  } catch (const WrongUse& refusal) {
    throw Failure(refusal.what());  // no wrong use: the user has not asked for the value
  }
}

/// Throws unless the layout has as many channels as the source: WrongUse if the user has chosen it, else Failure.
void CheckChannels(IEnumSetting& layout, unsigned int channels, const SoundFormat& source, bool isChosen,
                   const SuggestionPrefixes& suggestions) {
  if (channels == source.channels) {
    return;
  }
  const std::string fitting = DefaultLayout(source.channels);
  const std::string suggestion =
      layout.FindIndexOf(fitting.c_str()) >= 0 ? fmt::format(": {}{}", suggestions.layout, fitting) : std::string();
  const std::string text = fmt::format("{}: {} has {}, {} has {}{}", layout.GetLabel(), layout.GetValue(),
                                       ChannelsText(channels), source.name, source.channels, suggestion);
  if (isChosen) {
    throw WrongUse(text);
  }
  throw Failure(text);
}

}  // namespace

bool HasLayoutFor(IAudioCompressor& compressor, const SoundFormat& source) {
  IEnumSetting& layout = Existing(compressor.GetChannelModeSetting(), "channel layout");
  return layout.FindIndexOf(LayoutOfSource(source, layout, {}).name.c_str()) >= 0;
}

EncodingFormat ChooseFormat(IAudioCompressor& compressor, const SoundFormat* source, const Choices& choices,
                            const SuggestionPrefixes& suggestions) {
  Existing(compressor.GetSampleRateSetting(), "sample rate");
  Existing(compressor.GetSampleSizeSetting(), "sample size");
  IEnumSetting& layout = Existing(compressor.GetChannelModeSetting(), "channel layout");
  if (source != nullptr) {
    FollowSource(compressor, *source, choices, suggestions);
  }
  // The settings that depend on others follow before they are read.
  compressor.ValidateSettings();
  EncodingFormat format{.sampleRate = compressor.GetSampleRate(),
                        .bits = compressor.GetSampleSize(),
                        .channels = KelGetNumberChannels(compressor.GetChannelMode()),
                        .layout = layout.GetValue()};
  if (source != nullptr) {
    CheckChannels(layout, format.channels, *source, choices.Contains(&layout), suggestions);
  }
  if (format.sampleRate == 0 || format.channels == 0) {
    throw Failure(fmt::format("the compressor has no format: {} Hz, layout \"{}\"", format.sampleRate, format.layout));
  }
  // The samples must be packed in as many bytes as the sample size says.
  if (compressor.GetAudioFormatType(format.sampleType) != kRhoStatusSuccess ||
      BytesPerSample(format.sampleType) * 8 != format.bits) {
    throw Failure(fmt::format("the compressor does not take samples of {} bits", format.bits));
  }
  return format;
}
