#include "Host/Settings/SettingText.h"
#include "Host/Text/Errors.h"
#include "Host/Validate/Checks/SettingCheckFunctions.h"
#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/Combinations.h"
#include "Host/Validate/Support/SettingState.h"
#include "Host/Validate/Support/SettingValues.h"
#include "Host/Validate/Support/ShownTexts.h"
#include "Host/Validate/Support/Subject.h"
#include "RHOAPI/RhoapiAudioCodec.h"

#include <algorithm>

namespace {

void ExpectValid(const std::vector<NamedSetting>& settings, const std::string& action) {
  for (const NamedSetting& named : settings) {
    const std::string fault = ValueFault(*named.setting);
    Expect(fault.empty(), '"' + named.name + "\" at a value that it allows after " + action, fault);
  }
}

/// A value that a setting takes, and still allows when all settings are validated, stays; and the others end up with
/// values that they allow.
void TryValue(IAudioCompressor& compressor, const NamedSetting& named, const std::string& value) {
  SetValueText(*named.setting, value);
  compressor.ValidateSettings();
  const std::string action = named.name + '=' + Shortened(value) + " and ValidateSettings";
  const std::vector<NamedSetting> settings = ValueSettingsOf(compressor);
  const std::vector<std::string> allowed = ValuesToTry(*named.setting);
  const bool isStillAllowed = std::find(allowed.begin(), allowed.end(), value) != allowed.end();
  Expect(!isStillAllowed || ValueText(*named.setting) == value,
         '"' + named.name + "\" at " + Shortened(value) + ", which it allows, after " + action,
         Shortened(ValueText(*named.setting)));
  ExpectValid(settings, action);
}

}  // namespace

void CheckValidation(const std::string& path) {
  constexpr unsigned int kRandomOnes = 50;
  const CheckedModule module = LoadModule(path);
  const CompressorOwner compressor = NewCompressor(module);
  const std::vector<SettingState> fresh = StatesOf(SettingsOf(*compressor));
  compressor->ValidateSettings();
  ExpectSameStates(fresh, StatesOf(SettingsOf(*compressor)), "ValidateSettings of a new compressor");
  for (const Combination& combination : CombinationsOf(*compressor, kRandomOnes)) {
    combination.ApplyTo(*compressor);
    ExpectValid(SettingsOf(*compressor), combination.name + SeedText());
    const std::vector<SettingState> valid = StatesOf(SettingsOf(*compressor));
    compressor->ValidateSettings();
    ExpectSameStates(valid, StatesOf(SettingsOf(*compressor)),
                     "ValidateSettings again with " + combination.name + SeedText());
  }
}

void CheckOthers(const std::string& path) {
  const CheckedModule module = LoadModule(path);
  const CompressorOwner compressor = NewCompressor(module);
  const std::size_t count = ValueSettingsOf(*compressor).size();
  for (std::size_t place = 0; place < count; ++place) {
    const CompressorOwner changed = NewCompressor(module);
    const std::vector<NamedSetting> settings = ValueSettingsOf(*changed);
    Expect(settings.size() == count, std::to_string(count) + " settings in every new compressor",
           std::to_string(settings.size()));
    for (const std::string& value : ValuesToTry(*settings[place].setting)) {
      try {
        TryValue(*changed, settings[place], value);
      } catch (const WrongUse&) {
        continue;  // no longer allowed since another of its values was set
      }
    }
  }
}
