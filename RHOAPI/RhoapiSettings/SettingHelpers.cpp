#include "RHOAPI/RhoapiSettings/SettingHelpers.h"

#include "RHOAPI/RhoapiSettingsInterface.h"

namespace rhoapi_settings {

namespace {

/// The boolean interface of a setting with that type code; null for other settings. The type code decides, as for
/// hosts: the module exports no type information that a dynamic_cast could rely on.
IBoolSetting* AsBool(ISetting& setting) {
  return setting.GetType() == kSettingTypeBool ? static_cast<IBoolSetting*>(&setting) : nullptr;
}

}  // namespace

bool checkboxChecked(ISetting* setting) {
  if (setting == nullptr) {
    return false;
  }
  if (setting->GetIsOptional() != 0) {
    return setting->GetIsOptionalValueSpecified() != 0;
  }
  const IBoolSetting* const boolean = AsBool(*setting);
  return boolean != nullptr && boolean->GetValue() != 0;
}

void setUnspecified(ISetting* setting) {
  if (setting == nullptr) {
    return;
  }
  if (setting->GetIsOptional() != 0) {
    setting->SetIsOptionalValueSpecified(0);
  } else if (IBoolSetting* const boolean = AsBool(*setting)) {
    boolean->SetValue(0);
  }
}

void setTooltip(ISetting* setting, const char* text) {
  if (setting != nullptr) {
    setting->SetToolTipText(text);
  }
}

void setOptional(ISetting* setting, const char* text) {
  if (setting != nullptr) {
    setting->SetIsOptional(1);
    setting->SetOptionalText(text);
  }
}

void setActive(ISetting* setting, bool active) {
  if (setting != nullptr) {
    setting->SetIsActive(active ? 1 : 0);
  }
}

}  // namespace rhoapi_settings
