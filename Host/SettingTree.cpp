#include "Host/SettingTree.h"

#include "Host/Errors.h"
#include "RHOAPI/RhoapiAudioCodec.h"

#include <algorithm>
#include <exception>
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
    std::string name = prefix + setting->GetPresetLabel();
    if (name == prefix || !m_names.insert(name).second) {
      name = prefix + '#' + std::to_string(place);
      m_names.insert(name);
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

void Assign(IAudioCompressor& compressor, std::vector<Assignment> assignments) {
  while (!assignments.empty()) {
    std::exception_ptr firstRefusal;
    const auto isDone = [&firstRefusal](const Assignment& assignment) {
      try {
        assignment.assign(*assignment.setting);
        return true;
      } catch (const WrongUse&) {
        if (firstRefusal == nullptr) {
          firstRefusal = std::current_exception();
        }
        return false;
      }
    };
    const std::size_t before = assignments.size();
    assignments.erase(std::remove_if(assignments.begin(), assignments.end(), isDone), assignments.end());
    compressor.ValidateSettings();
    if (assignments.size() == before) {
      std::rethrow_exception(firstRefusal);
    }
  }
}
