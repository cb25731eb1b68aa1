#pragma once

/// What a compressor says about itself: its names, codes and formats, and every setting with all that a dialog would
/// show.

#include <nlohmann/json_fwd.hpp>
#include <string>

class IAudioCompressor;

/// All of it as JSON, for programs; docs/info.md describes its shape. `version` is what the module announces.
nlohmann::ordered_json DescribeCompressor(IAudioCompressor& compressor, unsigned int version);

/// The same for people: lines of at most 80 columns, unless a single word is longer.
std::string DescriptionText(const nlohmann::ordered_json& description);
