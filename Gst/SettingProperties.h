#pragma once

/// The settings of a compressor as properties of an element. GStreamer refuses values outside a property's range; all
/// others are left to the compressor.
///
///   kind of setting          property
///   bool                     boolean
///   int, unsigned, double    number, its range that of the setting
///   enum                     enumeration: an entry's nick is in lower case, "careful-slow" for "Careful, slow"
///   group                    none
///   all others               string, as Host/Settings/SettingText.h says
///
/// An optional setting has a second property, "NAME-specified", a boolean.

#include "Gst/ModuleEncoder.h"

#include <glib-object.h>
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

struct SettingProperty {
  enum class Kind { kBool, kInt, kUnsigned, kDouble, kEnum, kText, kSpecified };

  std::string setting;  ///< the library's name
  Kind kind = Kind::kText;
  std::vector<std::string> entries;  ///< of an enumeration, by their numbers
};

/// Adds the properties to a class, numbered from `firstId` on, and returns them in that order. Names are the settings'
/// in lower case with hyphens, "sample-rate" for "SampleRate", with "-2" and so on behind where the class has the name.
std::vector<SettingProperty> InstallProperties(GObjectClass* elementClass, const nlohmann::ordered_json& settings,
                                               unsigned int firstId);

/// Gives a property the value of the compressor's setting.
void ReadProperty(ModuleEncoder& encoder, const SettingProperty& property, GValue* value);

/// Gives the compressor's setting the value of a property. Throws WrongUse if it is not allowed.
void WriteProperty(ModuleEncoder& encoder, const SettingProperty& property, const GValue* value);
