#pragma once

/// The checks of the group "settings.", each on the module at a path. What each of them is for stands in
/// SettingChecks.cpp, beside its name.

#include <string>

// What settings say of themselves: SettingOffers.cpp
void CheckSettingTexts(const std::string& module);
void CheckPresetLabels(const std::string& module);
void CheckDefaults(const std::string& module);
void CheckLists(const std::string& module);
void CheckIndexes(const std::string& module);

// What they take: SettingChanges.cpp
void CheckAllowed(const std::string& module);
void CheckNotAllowed(const std::string& module);
void CheckFlags(const std::string& module);
void CheckPresets(const std::string& module);

// What they do to each other: SettingDependence.cpp
void CheckValidation(const std::string& module);
void CheckOthers(const std::string& module);

// What their copies are: SettingCopies.cpp
void CheckCopies(const std::string& module);
void CheckCompressorCopies(const std::string& module);
