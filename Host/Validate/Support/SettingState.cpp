#include "Host/Validate/Support/SettingState.h"

#include "Host/Settings/Info.h"
#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/ShownTexts.h"
#include "RHOAPI/RhoapiSettingsInterface.h"

#include <algorithm>

SettingState StateOf(const NamedSetting& named) {
  SettingState state = DescribeSetting(named);
  if (named.setting->GetType() == kSettingTypeArray) {
    for (const char* const key : {"label", "presetLabel", "toolTip"}) {
      state.erase(key);
    }
    const auto& container = static_cast<ISettingArray&>(*named.setting);
    for (unsigned int index = 0; index < container.GetNumberOfSettings(); ++index) {
      const std::string name = named.name + "/#" + std::to_string(index);
      ISetting* const setting = container.GetSetting(index);
      state[name] = setting == nullptr ? SettingState() : StateOf({name, named.depth + 1, setting});
    }
  }
  return state;
}

std::vector<SettingState> StatesOf(const std::vector<NamedSetting>& settings) {
  std::vector<SettingState> states;
  std::transform(settings.begin(), settings.end(), std::back_inserter(states), StateOf);
  return states;
}

void ExpectSameState(const SettingState& expected, const SettingState& came, const std::string& action) {
  for (const auto& [key, value] : expected.items()) {
    // As text: not a number equals itself there.
    const std::string text = value.dump();
    const std::string other = came.value(key, SettingState()).dump();
    std::string what = key;
    what.append(" of \"").append(expected["name"].get<std::string>()).append("\" ").append(Shortened(text));
    what.append(" after ").append(action);
    Expect(text == other, what, Shortened(other));
  }
}

void ExpectSameStates(const std::vector<SettingState>& expected, const std::vector<SettingState>& came,
                      const std::string& action) {
  Expect(expected.size() == came.size(), std::to_string(expected.size()) + " settings after " + action,
         std::to_string(came.size()));
  for (std::size_t index = 0; index < expected.size(); ++index) {
    ExpectSameState(expected[index], came[index], action);
  }
}
