#pragma once

/// Describes an element by the description of its module.

#include "Gst/ElementCaps.h"
#include "Gst/ModuleCatalog.h"

#include <string>
#include <string_view>

/// Everything that an element's class is made from.
struct ElementDescription {
  std::string name;        ///< of the element: "rhoenc-pcmplugin"
  std::string modulePath;  ///< of the library or the bundle
  std::string longName;
  std::string details;
  std::string author;
  OfferedFormats formats;
  bool makesLinearPcm = false;
  CapsPointer sourceCaps;           ///< of the template
  nlohmann::ordered_json settings;  ///< as docs/info.md says
  int codecDelay = 0;               ///< in sample frames

  /// The library's name of one of the settings that every compressor has: "sampleRate".
  std::string StandardSetting(std::string_view standard) const;
};

/// "rhoenc-pcmplugin" for the module PCMPlugin: lower-case letters, digits and hyphens.
std::string ElementName(std::string_view moduleName);

/// Throws Failure for a compressor that an element cannot use: a placeholder, or one without a format that GStreamer
/// has.
ElementDescription DescribeElement(const CatalogEntry& module);
