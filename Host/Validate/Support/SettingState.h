#pragma once

/// All that settings say of themselves, to be compared before and after.

#include "Host/Settings/SettingTree.h"

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

using SettingState = nlohmann::ordered_json;

/// Labels, flags, texts, range, list and value of one setting; of a container what its copies have too: not its labels
/// and tool tip, but all of what it holds.
SettingState StateOf(const NamedSetting& named);
std::vector<SettingState> StatesOf(const std::vector<NamedSetting>& settings);

/// Throws CheckFailed unless both are equal: "value of "SampleRate" 44100 after ACTION", and the actual value.
void ExpectSameState(const SettingState& expected, const SettingState& actual, const std::string& action);
void ExpectSameStates(const std::vector<SettingState>& expected, const std::vector<SettingState>& actual,
                      const std::string& action);
