#include "Host/Settings/Assignment.h"

#include "Host/Settings/SettingText.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Utf8.h"
#include "RHOAPI/RhoapiAudioCodec.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <utility>

namespace {

std::string LabelOf(ISetting& setting) { return setting.GetLabel(); }

/// The allowable number to try in place of `value`: the next larger one, so that nothing is lost, else the largest; 0
/// if there is none.
///   {8000, 44100, 96000}: 44100 for 37800, 96000 for 192000
unsigned int Substitute(IUnsignedIntSetting& setting, unsigned int value) {
  unsigned int larger = 0;
  unsigned int largest = 0;
  for (unsigned int index = 0; index < setting.GetNumberOfAllowableValues(); ++index) {
    const unsigned int allowed = setting.GetAllowableValue(index);
    largest = std::max(largest, allowed);
    if (allowed > value && (larger == 0 || allowed < larger)) {
      larger = allowed;
    }
  }
  return larger != 0 ? larger : largest;
}

/// The end of the message for a refused value: ": " + suggestion + the allowable number to try. Empty unless the
/// assignment has a suggestion and is for an unsigned number.
std::string SuggestionText(const Assignment& assignment) {
  const auto* const value = assignment.value ? std::get_if<unsigned int>(&*assignment.value) : nullptr;
  if (assignment.suggestion.empty() || value == nullptr || assignment.setting->GetType() != kSettingTypeUnsignedInt) {
    return {};
  }
  const unsigned int substitute = Substitute(static_cast<IUnsignedIntSetting&>(*assignment.setting), *value);
  return substitute == 0 ? std::string() : fmt::format(": {}{}", assignment.suggestion, substitute);
}

/// Changes the setting. Throws WrongUse if it refuses the value or, unless the value is from a preset, if it is
/// inactive.
void CarryOut(const Assignment& assignment) {
  ISetting& setting = *assignment.setting;
  if (setting.GetIsActive() == 0 && !assignment.isFromPreset) {
    throw WrongUse(LabelOf(setting) + ": the setting is not active, a value has no effect");
  }
  if (assignment.value) {
    SetValue(setting, *assignment.value);
  }
  // After the value, so that a refused one leaves the optional setting as it was.
  if (setting.GetIsOptional() != 0) {
    setting.SetIsOptionalValueSpecified(assignment.value ? 1 : 0);
  }
}

/// The message for a setting that has lost its new value through other assignments.
std::string ChangeText(const Assignment& assignment) {
  ISetting& setting = *assignment.setting;
  const std::string value = ValueText(setting, *assignment.value);
  return IsAllowed(setting, *assignment.value)
             ? fmt::format("{}: does not keep to {}{} with the other settings", LabelOf(setting), value,
                           assignment.unit)
             : Refusal(setting, value) + assignment.unit + ", with the other settings as they are";
}

/// Assignments of the values that the settings of `assignments` have now.
std::vector<Assignment> PresentValues(const std::vector<Assignment>& assignments) {
  std::vector<Assignment> present;
  present.reserve(assignments.size());
  for (const Assignment& assignment : assignments) {
    ISetting& setting = *assignment.setting;
    const bool hasValue = setting.GetIsOptional() == 0 || setting.GetIsOptionalValueSpecified() != 0;
    present.push_back({.setting = &setting, .value = hasValue ? std::optional(GetValue(setting)) : std::nullopt});
  }
  return present;
}

void AssignOrFail(IAudioCompressor& compressor, const std::vector<Assignment>& assignments) {
  // The last assignment for a setting counts and takes its own place in the order, not that of the earlier one.
  std::vector<const Assignment*> pending;
  for (const Assignment& assignment : assignments) {
    std::erase_if(pending, [&](const Assignment* earlier) { return earlier->setting == assignment.setting; });
    pending.push_back(&assignment);
  }
  std::vector<std::pair<const Assignment*, std::string>> assigned;
  // Each pass tries all that is left. A pass that carries out nothing is the last one: no other order would help.
  for (bool isProgress = true; isProgress;) {
    std::string firstRefusal;
    const std::size_t before = pending.size();
    std::erase_if(pending, [&](const Assignment* assignment) {
      if (assignment->isFromPreset && IsFixed(*assignment->setting)) {
        return false;  // until another value of the preset gives it a choice
      }
      try {
        CarryOut(*assignment);
        assigned.emplace_back(assignment, ValueText(*assignment->setting));
        return true;
      } catch (const WrongUse& refusal) {
        if (firstRefusal.empty()) {
          firstRefusal = assignment->source + refusal.what() + assignment->unit + SuggestionText(*assignment);
        }
        return false;
      }
    });
    // Brings the new values into effect: it may change what the other settings allow.
    compressor.ValidateSettings();
    isProgress = pending.size() != before;
    if (!isProgress && !firstRefusal.empty()) {
      throw WrongUse(firstRefusal);
    }
  }
  // What is still pending here is from a preset and fixed: its value follows from the others and is ignored. An
  // assignment that a later one has undone is an error, even though the setting took the value at first.
  for (const auto& [assignment, value] : assigned) {
    if (ValueText(*assignment->setting) != value) {
      throw WrongUse(assignment->source + ChangeText(*assignment));
    }
  }
}

}  // namespace

bool IsFixed(ISetting& setting) { return setting.GetIsOptional() == 0 && NumberOfAllowableValues(setting) == 1; }

Assignment ParseAssignment(const std::vector<NamedSetting>& settings, std::string_view text) {
  const std::size_t equals = text.find('=');
  const std::string_view name = text.substr(0, equals);
  ISetting* const setting = equals == std::string_view::npos ? nullptr : FindSetting(settings, name);
  if (setting == nullptr) {
    std::vector<std::string_view> names;
    names.reserve(settings.size());
    for (const NamedSetting& named : settings) {
      names.push_back(named.name);
    }
    throw WrongUse(fmt::format(
        "\"{}\": {}; the settings are: {}", Abbreviated(text),
        equals == std::string_view::npos ? "expected NAME=VALUE" : fmt::format("no setting \"{}\"", Abbreviated(name)),
        fmt::join(names, ", ")));
  }
  // Everything behind the first "=": a value may contain more of them.
  const std::string_view value = text.substr(equals + 1);
  Assignment assignment{.setting = setting, .value = ParseValue(*setting, value)};
  if (setting->GetIsOptional() != 0 && value.empty()) {
    assignment.value.reset();
  } else if (!assignment.value) {
    throw WrongUse(Refusal(*setting, value));
  }
  return assignment;
}

void Assign(IAudioCompressor& compressor, const std::vector<Assignment>& assignments) {
  const std::vector<Assignment> before = PresentValues(assignments);
  try {
    AssignOrFail(compressor, assignments);
  } catch (const WrongUse&) {
    try {
      AssignOrFail(compressor, before);
    } catch (const WrongUse&) {
      // A setting may refuse the value that it was created with. The others have theirs.
    }
    throw;
  }
}
