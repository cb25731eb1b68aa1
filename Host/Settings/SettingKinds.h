#pragma once

#include "RHOAPI/RhoapiSettingsInterface.h"

/// Calls `visitor` with the interface that the setting's type code names, and returns what it returns; with the setting
/// itself, as ISetting&, when the code is none that this host knows.
template <class Visitor>
auto VisitSetting(ISetting& setting, Visitor&& visitor) {
  switch (setting.GetType()) {
    case kSettingTypeBool:
      return visitor(static_cast<IBoolSetting&>(setting));
    case kSettingTypeEnum:
      return visitor(static_cast<IEnumSetting&>(setting));
    case kSettingTypeInt:
      return visitor(static_cast<IIntSetting&>(setting));
    case kSettingTypeUnsignedInt:
      return visitor(static_cast<IUnsignedIntSetting&>(setting));
    case kSettingTypeDouble:
      return visitor(static_cast<IDoubleSetting&>(setting));
    case kSettingTypeFile:
      return visitor(static_cast<IFileSetting&>(setting));
    case kSettingTypeTimeInOut:
      return visitor(static_cast<ITimeInOutSetting&>(setting));
    case kSettingTypeUnsignedIntArray:
      return visitor(static_cast<IUnsignedIntArraySetting&>(setting));
    case kSettingTypeByteArray:
      return visitor(static_cast<IByteArraySetting&>(setting));
    case kSettingTypeText:
      return visitor(static_cast<ITextSetting&>(setting));
    case kSettingTypeTimeCode:
      return visitor(static_cast<ITimeCodeSetting&>(setting));
    case kSettingTypeArray:
      return visitor(static_cast<ISettingArray&>(setting));
    default:
      return visitor(setting);
  }
}
