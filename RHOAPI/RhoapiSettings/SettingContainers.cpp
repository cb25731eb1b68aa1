#include "RHOAPI/RhoapiSettings/SettingContainers.h"

SettingsGroup::SettingsGroup() = default;

// The base class copies the active flag, the assignment only the list.
SettingsGroup::SettingsGroup(const SettingsGroup& other) : TSettingContainer(other) { *this = other; }

SettingsGroup& SettingsGroup::operator=(const SettingsGroup& other) {
  if (this != &other) {
    m_settings = other.m_settings;
  }
  return *this;
}

void SettingsGroup::include(ISetting& setting) { m_settings.push_back(&setting); }

void SettingsGroup::clear() { m_settings.clear(); }

SettingArray::SettingArray(unsigned int /*unused*/) {}

SettingArray::SettingArray(const SettingArray& other) : TSettingContainer(other) { *this = other; }

SettingArray& SettingArray::operator=(const SettingArray& other) {
  if (this != &other) {
    // All copies exist before the list changes: CreateCopy may throw.
    std::vector<std::unique_ptr<ISetting>> copies;
    copies.reserve(other.m_settings.size());
    for (const auto& setting : other.m_settings) {
      copies.emplace_back(setting == nullptr ? nullptr : setting->CreateCopy());
    }
    m_settings.swap(copies);
  }
  return *this;
}

int SettingArray::AddSetting(ISetting* setting) {
  // An empty owner first: if that throws, the setting still belongs to the caller.
  m_settings.emplace_back().reset(setting);
  return static_cast<int>(m_settings.size()) - 1;
}

void SettingArray::clear() { m_settings.clear(); }
