#pragma once

#include "RHOAPI/RhoapiSettings.h"
#include "Tests/Support/Slots.h"

#include <memory>

/// The getters that all settings have, from slot 2 on, as ReadSlots() takes them.
constexpr const char* kCommonGetters = "uusssu.u..u.u.s.s";

/// Sets the attributes that all settings have, by slot: numbers to the number of the slot, texts to "text" and "tip".
inline void GiveCommonAttributes(const ISetting* setting) {
  for (const unsigned slot : {8U, 11U, 13U}) {
    CallSlot(setting, slot, slot);
  }
  CallSlot(setting, 15, "text");
  CallSlot(setting, 17, "tip");
}

/// A copy by the setting's own operation.
template <class Setting>
std::unique_ptr<Setting> CopyOf(const Setting& setting) {
  return std::unique_ptr<Setting>(static_cast<Setting*>(CallSlot<ISetting*>(&setting, 10)));
}
