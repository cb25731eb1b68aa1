#include "Host/Settings/SettingTree.h"

#include "Host/Settings/SettingJson.h"
#include "Host/Settings/SettingText.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Utf8.h"
#include "RHOAPI/RhoapiAudioCodec.h"

#include <set>
#include <utility>

namespace {

constexpr unsigned int kDeepest = 32;

class Lister {
 public:
  void Add(ISetting* setting, const std::string& prefix, unsigned int depth, std::size_t place) {
    if (setting == nullptr) {
      return;
    }
    const std::string label = setting->GetPresetLabel();
    std::string name = prefix + label;
    if (label.empty() || !IsUtf8(label) || !m_names.insert(name).second) {
      name = prefix + '#' + std::to_string(place);
      while (!m_names.insert(name).second) {
        name += '#';
      }
    }
    m_settings.push_back({name, depth, setting});
    if (setting->GetType() == kSettingTypeArray && depth < kDeepest) {
      auto& container = static_cast<ISettingArray&>(*setting);
      for (unsigned int index = 0; index < container.GetNumberOfSettings(); ++index) {
        Add(container.GetSetting(index), name + '/', depth + 1, index);
      }
    }
  }

  std::vector<NamedSetting> Take() { return std::move(m_settings); }

 private:
  std::vector<NamedSetting> m_settings;
  std::set<std::string> m_names;
};

}  // namespace

std::vector<NamedSetting> ListSettings(IAudioCompressor& compressor) {
  Lister lister;
  std::size_t place = 0;
  for (ISetting* const setting :
       {static_cast<ISetting*>(compressor.GetSampleRateSetting()),
        static_cast<ISetting*>(compressor.GetSampleSizeSetting()),
        static_cast<ISetting*>(compressor.GetChannelModeSetting()),
        static_cast<ISetting*>(compressor.GetDataRateSetting()), compressor.GetNonStandardSettings()}) {
    lister.Add(setting, "", 0, place++);
  }
  return lister.Take();
}

ISetting* FindSetting(const std::vector<NamedSetting>& settings, std::string_view name) {
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

Assignment ReadAssignment(const std::vector<NamedSetting>& settings, const std::string& text) {
  const std::size_t equals = text.find('=');
  const std::string name = text.substr(0, equals);
  ISetting* const setting = equals == std::string::npos ? nullptr : FindSetting(settings, name);
  if (setting == nullptr) {
    std::string names;
    for (const NamedSetting& named : settings) {
      names.append(names.empty() ? "" : ", ").append(named.name);
    }
    throw WrongUse('"' + text +
                   "\": " + (equals == std::string::npos ? "expected NAME=VALUE" : "no setting \"" + name + '"') +
                   "; there are: " + names);
  }
  return {setting, "", [setting, value = text.substr(equals + 1)] { SetValueOrUnspecify(*setting, value); }};
}

void Assign(IAudioCompressor& compressor, const std::vector<Assignment>& assignments) {
  std::vector<const Assignment*> pending;
  for (const Assignment& assignment : assignments) {
    std::erase_if(pending, [&](const Assignment* earlier) { return earlier->setting == assignment.setting; });
    pending.push_back(&assignment);
  }
  std::vector<std::pair<const Assignment*, std::string>> assigned;
  while (!pending.empty()) {
    std::string firstRefusal;
    const std::size_t before = pending.size();
    std::erase_if(pending, [&](const Assignment* assignment) {
      try {
        assignment->assign();
        assigned.emplace_back(assignment, ValueText(*assignment->setting));
        return true;
      } catch (const WrongUse& refusal) {
        firstRefusal = firstRefusal.empty() ? assignment->place + refusal.what() : firstRefusal;
        return false;
      }
    });
    compressor.ValidateSettings();
    if (pending.size() == before) {
      throw WrongUse(firstRefusal);
    }
  }
  for (const auto& [assignment, value] : assigned) {
    if (ValueText(*assignment->setting) != value) {
      throw WrongUse(assignment->place + Refusal(*assignment->setting, value) +
                     ", with the other settings as they are");
    }
  }
}
