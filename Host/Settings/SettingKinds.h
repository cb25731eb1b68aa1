#pragma once

/// Calls on a setting through the interface that its type code names.

#include "RHOAPI/RhoapiSettingsInterface.h"

#include <type_traits>

/// A setting whose type code is not in ESettingType.
struct UnknownSetting {
  ISetting& setting;
};

/// Lets one function of a visitor treat several kinds alike, each of them named:
///   template <OneOf<IFileSetting, ITextSetting> Setting> std::string operator()(Setting& setting) const;
template <class Type, class... Types>
concept OneOf = (std::is_same_v<Type, Types> || ...);

/// The kinds that have no list of allowable values, containers apart.
template <class Type>
concept SettingWithoutList = OneOf<Type, IBoolSetting, IFileSetting, ITextSetting, ITimeCodeSetting, ITimeInOutSetting,
                                   IUnsignedIntArraySetting, IByteArraySetting>;

/// Calls `visitor` with the setting as the interface that its type code names, or as UnknownSetting, and returns the
/// result. The visitor has to name all kinds; one with a function for any ISetting does not compile.
template <class Visitor>
auto VisitSetting(ISetting& setting, Visitor&& visitor) {
  static_assert(!std::is_invocable_v<Visitor&, ISetting&>, "a fallback would hide a forgotten kind");
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
      return visitor(UnknownSetting{setting});
  }
}
