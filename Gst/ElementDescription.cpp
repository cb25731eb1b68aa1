#include "Gst/ElementDescription.h"

#include "Host/Text/Errors.h"
#include "Host/Text/Utf8.h"
#include "RHOAPI/RHOAPIPacketInterface.h"

#include <fmt/format.h>

#include <algorithm>

using Json = nlohmann::ordered_json;

namespace {

/// Whether linear PCM is among the compressor's packet types. Encoder then chooses it.
bool MakesLinearPcm(const Json& description) {
  const Json& types = description["packetTypes"];
  return std::find(types.begin(), types.end(), static_cast<unsigned int>(IPacket::kPacketTypeLinearPCM)) != types.end();
}

/// The caps of the source pad's template. Packets of types other than linear PCM have caps that only this plug-in uses.
CapsPointer SourceCaps(const Json& description, const OfferedFormats& formats) {
  if (MakesLinearPcm(description)) {
    return RawCaps(formats, true);
  }
  return CapsPointer(gst_caps_new_simple("audio/x-rho", "manufacturer", G_TYPE_STRING,
                                         description["manufacturer"].get<std::string>().c_str(), "codec", G_TYPE_STRING,
                                         description["codec"].get<std::string>().c_str(), "packet-type", G_TYPE_UINT,
                                         description["outputPacketType"].get<unsigned int>(), nullptr));
}

}  // namespace

std::string ElementDescription::StandardSetting(std::string_view standard) const {
  for (const Json& setting : settings) {
    if (setting.value("standard", std::string()) == standard) {
      return setting["name"];
    }
  }
  return {};
}

std::string ElementName(std::string_view moduleName) {
  // With functions for ASCII: those of the C library depend on the locale.
  std::string name(moduleName);
  std::transform(name.begin(), name.end(), name.begin(), g_ascii_tolower);
  std::replace_if(
      name.begin(), name.end(), [](char character) { return !g_ascii_isalnum(character); }, '-');
  return "rhoenc-" + name;
}

ElementDescription DescribeElement(const CatalogEntry& module) {
  const Json& description = module.description;
  if (description["placeholder"]) {
    throw Failure("the compressor is a placeholder that does not compress");
  }
  ElementDescription element{
      .name = ElementName(module.name),
      .modulePath = module.path,
      .longName = fmt::format("{} encoder", description["name"].get<std::string>()),
      .details = fmt::format("Encodes audio with the encoder module {}", ToUtf8(module.name)),
      .author =
          fmt::format("manufacturer {}, codec {}, version {:#010x}", description["manufacturer"].get<std::string>(),
                      description["codec"].get<std::string>(), description["version"].get<unsigned int>()),
      .formats = ReadFormats(description["settings"]),
      .makesLinearPcm = MakesLinearPcm(description),
      .sourceCaps = nullptr,
      .settings = description["settings"],
      .codecDelay = std::max(description["codecDelay"].get<int>(), 0)};
  // After the rest, since it needs the formats.
  element.sourceCaps = SourceCaps(description, element.formats);
  return element;
}
