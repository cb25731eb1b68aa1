#include "Host/Encode/RequestedSettings.h"

#include "Host/Text/Errors.h"
#include "RHOAPI/RhoapiAudioCodec.h"

#include <fmt/format.h>

#include <utility>

namespace {

constexpr double kDefaultFramesPerSecond = 30.0;

/// Adds an assignment for a value that was requested, if one was. Throws Failure if the compressor has no such setting.
template <class Value>
void AddRequested(std::vector<Assignment>& assignments, ISetting* setting, const char* name,
                  const std::optional<Value>& value, const char* unit, const char* suggestion) {
  if (!value) {
    return;
  }
  if (setting == nullptr) {
    throw Failure(fmt::format("the compressor has no setting for the {}", name));
  }
  assignments.push_back({.setting = setting, .value = *value, .unit = unit, .suggestion = suggestion});
}

}  // namespace

RequestedSettings::RequestedSettings(SettingRequest request)
    : m_request(std::move(request)), m_framesPerSecond(m_request.framesPerSecond) {
  if (!m_request.preset.empty()) {
    m_preset.emplace(m_request.preset);
    // The request outranks the preset.
    m_framesPerSecond = m_framesPerSecond ? m_framesPerSecond : m_preset->FramesPerSecond();
  }
}

Choices RequestedSettings::ApplyTo(IAudioCompressor& compressor) const {
  const std::vector<NamedSetting> settings = ListSettings(compressor);
  Choices choices{.framesPerSecond = m_framesPerSecond};
  // The preset and the request are applied one after the other, so that the request replaces the preset's values.
  const auto apply = [&](const std::vector<Assignment>& assignments) {
    Assign(compressor, assignments);
    for (const Assignment& assignment : assignments) {
      choices.settings.push_back(assignment.setting);
    }
  };
  if (m_preset) {
    apply(m_preset->AssignmentsFor(compressor, settings));
  }
  std::vector<Assignment> assignments;
  for (const std::string& text : m_request.assignments) {
    assignments.push_back(ParseAssignment(settings, text));
  }
  // Behind the assignments: of several for one setting the last counts.
  const auto& [rate, bits, layout] = m_request.format;
  const SuggestionPrefixes& suggestions = m_request.suggestions;
  AddRequested(assignments, compressor.GetSampleRateSetting(), "sample rate", rate, " Hz", suggestions.sampleRate);
  AddRequested(assignments, compressor.GetSampleSizeSetting(), "sample size", bits, " bits", suggestions.bits);
  AddRequested(assignments, compressor.GetChannelModeSetting(), "channel layout", layout, "", "");
  apply(assignments);
  choices.nearestRate = m_request.nearestRate;
  return choices;
}

double RequestedSettings::FramesPerSecond() const { return m_framesPerSecond.value_or(kDefaultFramesPerSecond); }
