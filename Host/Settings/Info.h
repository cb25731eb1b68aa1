#pragma once

/// Description of a compressor: its names, codes and formats, and every setting with all attributes that a dialog
/// shows.

#include <nlohmann/json_fwd.hpp>
#include <string>

class IAudioCompressor;
struct NamedSetting;

/// The description as JSON; docs/info.md lists the keys. `version` is what the module announces.
nlohmann::ordered_json DescribeCompressor(IAudioCompressor& compressor, unsigned int version);

/// One element of the description's "settings".
nlohmann::ordered_json DescribeSetting(const NamedSetting& named);

/// `description` as text in lines of at most 80 columns, unless a single word is longer.
std::string DescriptionText(const nlohmann::ordered_json& description);
