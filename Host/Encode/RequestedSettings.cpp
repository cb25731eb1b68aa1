#include "Host/Encode/RequestedSettings.h"

#include "Host/Settings/SettingTree.h"
#include "RHOAPI/RhoapiAudioCodec.h"

#include <algorithm>
#include <utility>

RequestedSettings::RequestedSettings(RequestedFormat format, std::vector<std::string> assignments,
                                     const std::string& preset)
    : m_format(std::move(format)), m_assignments(std::move(assignments)) {
  if (!preset.empty()) {
    m_preset.emplace(preset);
  }
}

RequestedFormat RequestedSettings::ApplyTo(IAudioCompressor& compressor) const {
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
  RequestedFormat requested = m_format;
  if (!requested.sampleRate && isAssigned(compressor.GetSampleRateSetting())) {
    requested.sampleRate = compressor.GetSampleRate();
  }
  if (!requested.bits && isAssigned(compressor.GetSampleSizeSetting())) {
    requested.bits = compressor.GetSampleSize();
  }
  if (!requested.layout && isAssigned(compressor.GetChannelModeSetting())) {
    requested.layout = compressor.GetChannelModeSetting()->GetValue();
  }
  return requested;
}
