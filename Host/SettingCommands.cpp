#include "Host/SettingCommands.h"

#include "Host/Errors.h"
#include "Host/Info.h"
#include "Host/Module.h"
#include "Host/OutputFile.h"
#include "Host/SettingTree.h"

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>

namespace {

/// Whether two paths lead to one place, where there may be nothing yet.
bool IsSamePlace(const std::string& left, const std::string& right) {
  namespace fs = std::filesystem;
  const auto placeOf = [](const std::string& path) {
    std::error_code error;
    if (!fs::status_known(fs::status(path, error))) {
      throw SystemFailure(path, "look at it", error.value());
    }
    return fs::weakly_canonical(fs::absolute(path, error), error);
  };
  return left == right || (!placeOf(left).empty() && placeOf(left) == placeOf(right));
}

}  // namespace

SettingWishes::SettingWishes(const Options& options) : m_format(options.wishes), m_assignments(options.assignments) {
  if (!options.preset.empty()) {
    m_preset.emplace(options.preset);
  }
}

FormatWishes SettingWishes::ApplyTo(IAudioCompressor& compressor) const {
  std::vector<Assignment> assignments;
  if (m_preset) {
    assignments = m_preset->AssignmentsFor(compressor);
    Assign(compressor, assignments);
  }
  std::vector<Assignment> fromCommandLine;
  const auto settings = ListSettings(compressor);
  for (const std::string& text : m_assignments) {
    fromCommandLine.push_back(ReadAssignment(settings, text));
  }
  Assign(compressor, fromCommandLine);
  assignments.insert(assignments.end(), fromCommandLine.begin(), fromCommandLine.end());

  const auto isAssigned = [&assignments](const ISetting* setting) {
    return std::any_of(assignments.begin(), assignments.end(),
                       [setting](const Assignment& assignment) { return assignment.setting == setting; });
  };
  FormatWishes wishes = m_format;
  if (!wishes.sampleRate && isAssigned(compressor.GetSampleRateSetting())) {
    wishes.sampleRate = compressor.GetSampleRate();
  }
  if (!wishes.bits && isAssigned(compressor.GetSampleSizeSetting())) {
    wishes.bits = compressor.GetSampleSize();
  }
  if (!wishes.layout && isAssigned(compressor.GetChannelModeSetting())) {
    wishes.layout = compressor.GetChannelModeSetting()->GetValue();
  }
  return wishes;
}

void CheckPresetTarget(const Options& options) {
  if (options.savePreset.empty()) {
    return;
  }
  if (IsSameFile(options.input, options.savePreset)) {
    throw Failure(options.savePreset + ": the preset would overwrite the input");
  }
  if (IsSamePlace(options.savePreset, options.output)) {
    throw Failure(options.savePreset + ": cannot be both preset and output");
  }
  CheckOutputTarget(options.savePreset, options.force);
}

void ShowInfo(const Options& options) {
  const Module module(options.module);
  const CompressorOwner compressor = module.CreateCompressor();
  SettingWishes(options).ApplyTo(*compressor);
  const auto description = DescribeCompressor(*compressor, module.Version());
  Print(options.json ? description.dump(2) + '\n' : DescriptionText(description));
}

void MakePreset(const Options& options) {
  const Module module(options.module);
  const CompressorOwner compressor = module.CreateCompressor();
  const FormatWishes wishes = SettingWishes(options).ApplyTo(*compressor);
  if (wishes.sampleRate || wishes.bits || wishes.layout) {
    ChooseFormat(*compressor, wishes, nullptr);
  }
  if (options.dryRun) {
    CheckPresetTarget(options);
    Print("preset: " + options.savePreset + '\n');
    return;
  }
  SavePreset(options.savePreset, *compressor, options.force);
}
