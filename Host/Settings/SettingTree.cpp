#include "Host/Settings/SettingTree.h"

#include "Host/Text/Utf8.h"
#include "RHOAPI/RhoapiAudioCodec.h"

#include <set>

namespace {

using Visit = std::function<std::string(ISetting& setting, const SettingPosition& position)>;

/// Visits `setting`, which may be null, and what it contains.
void Walk(ISetting* setting, const SettingPosition& position, const Visit& visit) {
  if (setting == nullptr) {
    return;
  }
  const std::string name = visit(*setting, position);
  // The limit ends the walk in a container that contains itself.
  if (setting->GetType() == kSettingTypeArray && position.depth < kDeepestSetting) {
    const auto& container = static_cast<ISettingArray&>(*setting);
    for (unsigned int index = 0; index < container.GetNumberOfSettings(); ++index) {
      Walk(container.GetSetting(index), {name + '/', position.depth + 1, index}, visit);
    }
  }
}

}  // namespace

void WalkSettings(IAudioCompressor& compressor, const Visit& visit) {
  std::size_t index = 0;
  // A null setting keeps its index, so that names do not depend on which settings a compressor has.
  for (ISetting* const setting :
       {static_cast<ISetting*>(compressor.GetSampleRateSetting()),
        static_cast<ISetting*>(compressor.GetSampleSizeSetting()),
        static_cast<ISetting*>(compressor.GetChannelModeSetting()),
        static_cast<ISetting*>(compressor.GetDataRateSetting()), compressor.GetNonStandardSettings()}) {
    Walk(setting, {"", 0, index++}, visit);
  }
}

std::vector<NamedSetting> ListSettings(IAudioCompressor& compressor) {
  std::vector<NamedSetting> settings;
  std::set<std::string> names;
  WalkSettings(compressor, [&](ISetting& setting, const SettingPosition& position) {
    const char* const label = setting.GetPresetLabel();
    const std::string_view text = label == nullptr ? "" : label;
    std::string name = position.prefix + std::string(text);
    // Names are UTF-8, since presets are JSON. "#" is appended until the name is unique.
    if (text.empty() || !IsUtf8(text) || !names.insert(name).second) {
      name = position.prefix + '#' + std::to_string(position.index);
      while (!names.insert(name).second) {
        name += '#';
      }
    }
    settings.push_back({name, position.depth, &setting});
    return name;
  });
  return settings;
}

ISetting* FindSetting(const std::vector<NamedSetting>& settings, std::string_view name) {
  // Full names first: the preset label of one setting may be the full name of another.
  ISetting* found = nullptr;
  for (const NamedSetting& candidate : settings) {
    if (candidate.name == name) {
      return candidate.setting;
    }
  }
  for (const NamedSetting& candidate : settings) {
    if (candidate.setting->GetPresetLabel() == name) {
      if (found != nullptr) {
        return nullptr;
      }
      found = candidate.setting;
    }
  }
  return found;
}
