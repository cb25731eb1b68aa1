#include "Host/Settings/SettingText.h"
#include "Host/Text/Errors.h"
#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Engine/Seed.h"
#include "Host/Validate/Support/CheckedModule.h"
#include "Host/Validate/Support/Combinations.h"
#include "Host/Validate/Support/CompressorUnderTest.h"
#include "Host/Validate/Support/SettingState.h"
#include "Host/Validate/Support/SettingValues.h"
#include "Host/Validate/Support/ShownTexts.h"
#include "Host/Validate/Support/StreamRun.h"

#include <algorithm>
#include <array>

namespace {

/// Fails the check if a setting has a value that it does not allow after `action`.
void ExpectValid(const std::vector<NamedSetting>& settings, const std::string& action) {
  for (const NamedSetting& named : settings) {
    const std::string fault = ValueFault(*named.setting);
    ExpectThat(fault.empty(), fault, "{} at a value that it allows after {}", DisplayName(named), action);
  }
}

/// Validation changes nothing in a new compressor, makes every combination valid, and changes nothing the second time.
void ValidatesSettings(IAudioCompressor& compressor) {
  constexpr unsigned int kRandomOnes = 50;
  const std::vector<SettingState> fresh = StatesOf(SettingsOf(compressor));
  compressor.ValidateSettings();
  ExpectSameStates(fresh, StatesOf(SettingsOf(compressor)), "ValidateSettings of a new compressor");
  for (const Combination& combination : CombinationsOf(compressor, kRandomOnes)) {
    combination.ApplyTo(compressor);
    ExpectValid(SettingsOf(compressor), combination.name + SeedText());
    const std::vector<SettingState> valid = StatesOf(SettingsOf(compressor));
    compressor.ValidateSettings();
    ExpectSameStates(valid, StatesOf(SettingsOf(compressor)),
                     fmt::format("a second ValidateSettings with {}{}", combination.name, SeedText()));
  }
}

/// A value that a setting takes, and still allows when all settings are validated, stays; and the others end up with
/// values that they allow.
void TryValue(IAudioCompressor& compressor, const NamedSetting& named, const std::string& value) {
  SetValueText(*named.setting, value);
  compressor.ValidateSettings();
  const std::string action = fmt::format("{}={} and ValidateSettings", named.name, Shortened(value));
  const std::vector<std::string> allowed = ValuesToTry(*named.setting);
  const bool isStillAllowed = std::find(allowed.begin(), allowed.end(), value) != allowed.end();
  ExpectThat(!isStillAllowed || ValueText(*named.setting) == value, Shortened(ValueText(*named.setting)),
             "{} at {}, which it allows, after {}", DisplayName(named), Shortened(value), action);
  ExpectValid(ValueSettingsOf(compressor), action);
}

/// Each value of each setting, chosen in a compressor that had its defaults before, leaves all settings valid.
void LeavesOthersValid(const CheckedModule& module) {
  const std::size_t count = ValueSettingsOf(*module.CreateCompressor()).size();
  for (std::size_t place = 0; place < count; ++place) {
    const CompressorOwner changed = module.CreateCompressor();
    const std::vector<NamedSetting> settings = ValueSettingsOf(*changed);
    ExpectEqual(count, settings.size(), "number of settings of every new compressor");
    for (const std::string& value : ValuesToTry(*settings[place].setting)) {
      try {
        TryValue(*changed, settings[place], value);
      } catch (const WrongUse&) {
        continue;  // no longer allowed since another of its values was set
      }
    }
  }
}

/// The values as texts, in the order of the settings.
std::vector<std::string> ValuesOf(const std::vector<NamedSetting>& settings) {
  std::vector<std::string> values;
  values.reserve(settings.size());
  for (const NamedSetting& named : settings) {
    values.push_back(ValueText(*named.setting));
  }
  return values;
}

/// Gives the settings their values back, as far as they take them.
void Restore(IAudioCompressor& compressor, const std::vector<NamedSetting>& settings,
             const std::vector<std::string>& values) {
  for (std::size_t place = 0; place < settings.size(); ++place) {
    try {
      SetValueText(*settings[place].setting, values[place]);
    } catch (const WrongUse&) {
      // Not allowed before the others are validated: then it follows them.
    }
  }
  compressor.ValidateSettings();
}

/// Each value of each setting, chosen and taken back, leaves the state as it was.
void ForgetsEachChoice(const CheckedModule& module) {
  const CompressorOwner compressor = module.CreateCompressor();
  compressor->ValidateSettings();
  const std::vector<NamedSetting> settings = ValueSettingsOf(*compressor);
  const std::vector<SettingState> states = StatesOf(settings);
  const std::vector<std::string> values = ValuesOf(settings);
  for (const NamedSetting& named : settings) {
    for (const std::string& value : ValuesToTry(*named.setting)) {
      try {
        SetValueText(*named.setting, value);
      } catch (const WrongUse&) {
        continue;
      }
      compressor->ValidateSettings();
      Restore(*compressor, settings, values);
      // Where a value could not be set back, the states may differ.
      if (ValuesOf(settings) == values) {
        ExpectSameStates(states, StatesOf(settings), fmt::format("{}={} and back", named.name, Shortened(value)));
      }
    }
  }
}

/// Whether `used` has all of the values that `fresh` has taken; both were told the same. A value that `fresh` has not
/// taken follows from the others, as a data rate does.
bool HasTakenTheSame(const Combination& combination, IAudioCompressor& fresh, IAudioCompressor& used) {
  Combination taken = combination;
  std::erase_if(taken.values, [&fresh](const auto& value) { return !Combination{{}, {value}}.IsIn(fresh); });
  return taken.IsIn(used);
}

/// Settings depend on one another by what they are, not by what they were: the same values give a used compressor the
/// same state as a new one.
void ForgetsEarlierChoices(const CheckedModule& module) {
  constexpr unsigned int kRandomOnes = 100;
  ForgetsEachChoice(module);
  const CompressorOwner used = module.CreateCompressor();
  for (const Combination& combination : CombinationsOf(*used, kRandomOnes)) {
    const CompressorOwner fresh = module.CreateCompressor();
    combination.ApplyTo(*used);
    combination.ApplyTo(*fresh);
    if (HasTakenTheSame(combination, *fresh, *used)) {
      ExpectSameStates(StatesOf(ValueSettingsOf(*fresh)), StatesOf(ValueSettingsOf(*used)),
                       fmt::format("{} that follow others, as in a new compressor{}", combination.name, SeedText()));
    }
  }
}

/// What a compressor says by its settings, beside the settings themselves.
std::string AnswersOf(IAudioCompressor& compressor) {
  EAudioFormatType type{};
  const RhoStatus status = compressor.GetAudioFormatType(type);
  return fmt::format("{}, sample type {}, channel mode {}, {} bits, {} Hz, {} bytes per second", StatusText(status),
                     unsigned{type}, unsigned{compressor.GetChannelMode()}, compressor.GetSampleSize(),
                     compressor.GetSampleRate(), compressor.GetDataRate());
}

/// The same settings have the same meaning in a new compressor, during a run with other settings, and after it.
void MeansTheSameDuringRuns(const CheckedModule& module) {
  const CompressorOwner used = module.CreateCompressor();
  bool isRunning = false;
  ForEachSetup(module, [&](const StreamSetup& setup) {
    const CompressorOwner fresh = setup.NewCompressor(module);
    setup.ApplyTo(*used);
    if (!HasTakenTheSame(setup.settings, *fresh, *used)) {
      return;  // depends on earlier choices, which another check looks at
    }
    const std::string what = fmt::format("{} a run with others, {}", isRunning ? "during" : "after", setup.name);
    ExpectEqual(AnswersOf(*fresh), AnswersOf(*used), "answers {}", what);
    ExpectSameStates(StatesOf(ValueSettingsOf(*fresh)), StatesOf(ValueSettingsOf(*used)), "setting them " + what);
    const CompressorOwner copy(used->CreateCopy());
    ExpectThat(copy == nullptr || AnswersOf(*copy) == AnswersOf(*used), AnswersOf(copy == nullptr ? *used : *copy),
               "answers of a copy {}: {}", what, AnswersOf(*used));
    StreamRun run(*used, setup);
    run.Give(SomeInput(setup));
    isRunning = !isRunning;
    if (!isRunning) {
      run.Flush();
      run.End();
    }
  });
}

}  // namespace

std::span<const Check> SettingDependenceChecks() {
  static constexpr auto kChecks = std::to_array<Check>({
      {"settings.validation", "Hosts validate often; settings that move each time are not what the user chose.",
       OnCompressor<ValidatesSettings>, kHasSettings},
      {"settings.others", "One choice must not leave the others invalid, nor be taken back itself.",
       OnModule<LeavesOthersValid>, kHasSettings},
      {"settings.earlier-choices", "Users try several choices; what they end with must not depend on the way there.",
       OnModule<ForgetsEarlierChoices>, kHasSettings},
      {"settings.during-runs", "A dialog that is open while the host encodes has to show what is chosen in it.",
       OnModule<MeansTheSameDuringRuns>, kHasSettings},
  });
  return kChecks;
}
