#pragma once

/// Settings that list settings. SettingArray owns the listed settings, SettingsGroup does not.
///
/// Copying one, by constructor, assignment or CreateCopy, copies only the list: a new container has no label, preset
/// label and tool tip, and the target of an assignment keeps its own. A new container copies the active flag.

#include "RHOAPI/RHOAPIExport.h"
#include "RHOAPI/RhoapiSettings/Setting.h"

#include <memory>
#include <vector>

/// The common part of both classes: the list, of `Pointer`s, and the container's own attributes.
template <class Concrete, class Pointer>
class TSettingContainer : public ISettingArray {
 public:
  TSettingContainer() = default;
  /// As active as `other`; the concrete class copies the list.
  TSettingContainer(const TSettingContainer& other) : ISettingArray(other), m_isActive(other.m_isActive) {}
  /// Keeps its own attributes; the concrete class copies the list.
  TSettingContainer& operator=(const TSettingContainer& /*other*/) { return *this; }

  const char* GetLabel() const override { return m_label.c_str(); }
  const char* GetPresetLabel() const override { return m_presetLabel.c_str(); }
  void SetIsActive(unsigned int active) override { m_isActive = active; }
  unsigned int GetIsActive() const override { return m_isActive; }
  ISetting* CreateCopy() const override { return new Concrete(static_cast<const Concrete&>(*this)); }
  void SetToolTipText(const char* text) override { m_toolTipText = OrEmpty(text); }
  const char* GetToolTipText() const override { return m_toolTipText.c_str(); }
  unsigned int GetNumberOfSettings() const override { return static_cast<unsigned int>(m_settings.size()); }
  ISetting* GetSetting(unsigned int index) const override {
    return index < m_settings.size() ? Address(m_settings[index]) : nullptr;
  }

  /// Sets the text above the list.
  void SetLabel(const char* label) { m_label = OrEmpty(label); }
  /// Sets the name under which presets file the list.
  void SetPresetLabel(const char* presetLabel) { m_presetLabel = OrEmpty(presetLabel); }

 protected:
  std::vector<Pointer> m_settings;  ///< in the order of their indexes

 private:
  static ISetting* Address(ISetting* setting) { return setting; }
  static ISetting* Address(const std::unique_ptr<ISetting>& setting) { return setting.get(); }

  unsigned int m_isActive = 1;
  std::string m_label;
  std::string m_presetLabel;
  std::string m_toolTipText;
};

/// Lists settings that others own, normally members of the plug-in object. Their owner keeps them alive while they are
/// listed. Copies list the same settings.
class RHOAPI_EXPORT SettingsGroup : public TSettingContainer<SettingsGroup, ISetting*> {
 public:
  /// An empty list.
  SettingsGroup();
  /// Lists the same settings.
  SettingsGroup(const SettingsGroup& other);
  /// Lists the same settings.
  SettingsGroup& operator=(const SettingsGroup& other);

  /// Appends `setting`, which may be listed already.
  void include(ISetting& setting);
  /// Empties the list.
  void clear();
};

/// Owns the settings that it lists; its destructor deletes them. Copies contain copies of them.
class RHOAPI_EXPORT SettingArray : public TSettingContainer<SettingArray, std::unique_ptr<ISetting>> {
 public:
  /// The argument has no effect.
  explicit SettingArray(unsigned int unused);
  /// Lists copies of the settings.
  SettingArray(const SettingArray& other);
  /// When out of memory nothing changes.
  SettingArray& operator=(const SettingArray& other);

  /// Appends `setting`, which may be null, takes ownership of it, and returns its index. The same setting must not be
  /// added twice. When out of memory the caller still owns the setting.
  int AddSetting(ISetting* setting);
  /// Deletes every setting and empties the list.
  void clear();
};
