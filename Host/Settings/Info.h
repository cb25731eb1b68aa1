#pragma once

/// What a compressor says about itself: its names, codes and formats, and every setting with all that a dialog would
/// show.

#include <nlohmann/json_fwd.hpp>
#include <string>

class IAudioCompressor;
struct NamedSetting;

/// All of it as JSON, for programs; docs/info.md describes its shape. `version` is what the module announces.
nlohmann::ordered_json DescribeCompressor(IAudioCompressor& compressor, unsigned int version);

/// One of its settings, as it stands there among the others.
nlohmann::ordered_json DescribeSetting(const NamedSetting& named);

/// A compressor's description for people: lines of at most 80 columns, unless a single word is longer.
std::string DescriptionText(const nlohmann::ordered_json& description);
