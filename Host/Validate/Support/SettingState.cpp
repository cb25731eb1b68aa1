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
      // By index: preset labels need not be unique.
      const std::string name = fmt::format("{}/#{}", named.name, index);
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

void ExpectSameState(const SettingState& expected, const SettingState& actual, const std::string& action) {
  SettingState all = expected;
  all.update(actual);
  for (const auto& [key, ignored] : all.items()) {
    // Compared as text, because NaN differs from itself as a number.
    const std::string text = expected.value(key, SettingState()).dump();
    const std::string other = actual.value(key, SettingState()).dump();
    ExpectThat(text == other, Shortened(other), "{} of \"{}\" {} after {}", key, expected["name"].get<std::string>(),
               Shortened(text), action);
  }
}

void ExpectSameStates(const std::vector<SettingState>& expected, const std::vector<SettingState>& actual,
                      const std::string& action) {
  ExpectEqual(expected.size(), actual.size(), "number of settings after {}", action);
  for (std::size_t index = 0; index < expected.size(); ++index) {
    ExpectSameState(expected[index], actual[index], action);
  }
}
