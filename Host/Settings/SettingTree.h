#pragma once

/// All settings that a compressor offers, containers opened level by level, each with a name that no other has.

#include <functional>
#include <string>
#include <string_view>
#include <vector>

class IAudioCompressor;
class ISetting;

struct NamedSetting {
  /// The preset label, behind those of the containers around it: "Video/Bit Rate". A setting without a preset label, or
  /// with one that is taken, goes by its place among its siblings instead: "#2" for the third ("#2#" if need be).
  std::string name;
  unsigned int depth = 0;  ///< how many containers are around it
  ISetting* setting = nullptr;
};

/// In the order of showing: sample rate, sample size, channels, data rate, then what the compressor offers besides; a
/// container before what it holds. The settings stay the compressor's. Containers are opened to a depth of 32.
std::vector<NamedSetting> ListSettings(IAudioCompressor& compressor);

/// The setting of that name, or else the only one with that preset label at any depth; null when there is none, or more
/// than one.
ISetting* FindSetting(const std::vector<NamedSetting>& settings, std::string_view name);

/// What is to be done to one setting.
struct Assignment {
  ISetting* setting = nullptr;
  std::string place;             ///< where it was asked for, in front of every refusal; may be empty
  std::function<void()> assign;  ///< throws WrongUse while the setting does not take it
};

/// The assignment that `text` asks for, as in "SampleRate=48000"; an empty value makes an optional setting unspecified.
/// Throws WrongUse when there is no such setting.
Assignment ReadAssignment(const std::vector<NamedSetting>& settings, const std::string& text);

/// Carries out the assignments, of several to one setting the last, whatever order the settings need: what a setting
/// refuses is tried again after ValidateSettings has brought the others into effect, as long as that helps. Throws
/// WrongUse for the first one still refused then, and for a value that did not outlast the others.
void Assign(IAudioCompressor& compressor, const std::vector<Assignment>& assignments);
