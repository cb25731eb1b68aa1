#pragma once

/// The checks of the group "settings.", each on the module at `path`. What each of them is for stands in
/// SettingChecks.cpp, beside its name.

#include <string>

// What settings say of themselves: SettingOffers.cpp
void CheckSettingTexts(const std::string& path);
void CheckPresetLabels(const std::string& path);
void CheckDefaults(const std::string& path);
void CheckLists(const std::string& path);
void CheckIndexes(const std::string& path);

// What they take: SettingChanges.cpp
void CheckAllowed(const std::string& path);
void CheckNotAllowed(const std::string& path);
void CheckFlags(const std::string& path);
void CheckPresets(const std::string& path);

// What they do to each other: SettingDependence.cpp
void CheckValidation(const std::string& path);
void CheckOthers(const std::string& path);

// What their copies are: SettingCopies.cpp
void CheckCopies(const std::string& path);
void CheckCompressorCopies(const std::string& path);
