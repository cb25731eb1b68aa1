#include "Host/Validate/Support/Combinations.h"

#include "Host/Settings/SettingText.h"
#include "Host/Text/Errors.h"
#include "Host/Validate/Engine/Seed.h"
#include "Host/Validate/Support/CompressorUnderTest.h"
#include "Host/Validate/Support/SettingValues.h"
#include "RHOAPI/RhoapiAudioCodec.h"

#include <algorithm>
#include <functional>
#include <random>

namespace {

/// Returns the index of the value to take, given the number of values, which is at least 1.
using Choice = std::function<std::size_t(std::size_t)>;

/// Chooses a value for each setting that has values to try, files excepted.
Combination Choose(const std::string& name, const std::vector<NamedSetting>& settings, const Choice& choice) {
  Combination combination{name, {}};
  for (const NamedSetting& named : settings) {
    const std::vector<std::string> values = ValuesToTry(*named.setting);
    if (!values.empty() && named.setting->GetType() != kSettingTypeFile) {
      combination.values.emplace_back(named.name, values[choice(values.size())]);
    }
  }
  return combination;
}

}  // namespace

void Combination::ApplyTo(IAudioCompressor& compressor) const {
  const std::vector<NamedSetting> settings = SettingsOf(compressor);
  for (const auto& [setting, value] : values) {
    ISetting* const found = FindSetting(settings, setting);
    // Settings may come and go as others change.
    if (found == nullptr) {
      continue;
    }
    try {
      SetValueText(*found, value);
    } catch (const WrongUse&) {
      continue;  // the value is not allowed together with the others
    }
    if (found->GetIsOptional() != 0) {
      found->SetIsOptionalValueSpecified(1);
    }
  }
  compressor.ValidateSettings();
}

bool Combination::IsIn(IAudioCompressor& compressor) const {
  const std::vector<NamedSetting> settings = SettingsOf(compressor);
  return std::all_of(values.begin(), values.end(), [&settings](const auto& value) {
    ISetting* const setting = FindSetting(settings, value.first);
    return setting != nullptr && ValueText(*setting) == value.second;
  });
}

std::vector<Combination> CombinationsOf(IAudioCompressor& compressor, unsigned int randomOnes) {
  const std::vector<NamedSetting> settings = ValueSettingsOf(compressor);
  std::vector<Combination> combinations{
      Choose("the lowest settings", settings, [](std::size_t) { return 0; }),
      Choose("the highest settings", settings, [](std::size_t count) { return count - 1; })};
  // Seeded anew: the same combinations each time in this process.
  std::mt19937_64 random(Seed());
  for (unsigned int i = 1; i <= randomOnes; ++i) {
    combinations.push_back(Choose(fmt::format("random settings {}", i), settings,
                                  [&random](std::size_t count) { return random() % count; }));
  }
  return combinations;
}
