#pragma once

/// All settings that a compressor offers, in the order of showing: sample rate, sample size, channels, data rate, then
/// what the compressor offers besides; a container before its contents.

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

class IAudioCompressor;
class ISetting;

/// Containers nested deeper are not opened.
constexpr unsigned int kDeepestSetting = 32;

/// Where a setting is.
struct SettingPosition {
  std::string prefix;      ///< the names of the containers around it, each with a slash behind: "Video/"
  unsigned int depth = 0;  ///< number of containers around it
  std::size_t index = 0;   ///< among its siblings, empty places counted
};

/// Calls `visit` for each setting; it returns the setting's name, which becomes the last part of the
/// prefix of what the setting contains.
void WalkSettings(IAudioCompressor& compressor,
                  const std::function<std::string(ISetting& setting, const SettingPosition& position)>& visit);

struct NamedSetting {
  /// Unique. The preset label, behind those of the containers around it: "Video/Bit Rate". A setting without a preset
  /// label, or with one that is taken, goes by its index among its siblings instead: "#2" for the third ("#2#" if that
  /// is taken too).
  std::string name;
  unsigned int depth = 0;       ///< number of containers around it
  ISetting* setting = nullptr;  ///< owned by the compressor
};

/// All settings with their names.
std::vector<NamedSetting> ListSettings(IAudioCompressor& compressor);

/// The setting of that name, or else the only one with that preset label at any depth; null if there is none or more
/// than one.
ISetting* FindSetting(const std::vector<NamedSetting>& settings, std::string_view name);
