#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/CheckedModule.h"
#include "Host/Validate/Support/CompressorUnderTest.h"
#include "Host/Validate/Support/SettingState.h"
#include "Host/Validate/Support/SettingValues.h"
#include "RHOAPI/RhoapiAudioCodec.h"

#include <array>
#include <memory>

namespace {

using OwnedSetting = std::unique_ptr<ISetting>;

/// A copy of a setting as a setting of that name.
NamedSetting NamedLike(const NamedSetting& named, const OwnedSetting& copy) {
  return {named.name, named.depth, copy.get()};
}

/// A copy of the setting. Fails the check for null, for the setting itself, and for one of another type.
OwnedSetting CopyOf(const NamedSetting& named) {
  OwnedSetting copy(named.setting->CreateCopy());
  const std::string what = fmt::format("a copy of {} from CreateCopy", DisplayName(named));
  Expect(copy != nullptr, what, "null");
  if (copy.get() == named.setting) {
    static_cast<void>(copy.release());  // it is not the host's to delete
    throw CheckFailed{what, "the setting itself"};
  }
  ExpectEqual(named.setting->GetType(), copy->GetType(), "type of {}", what);
  return copy;
}

/// Changes everything about a setting that can be changed.
void Change(ISetting& setting) {
  ChangeValue(setting);
  setting.SetToolTipText("changed");
  setting.SetIsActive(setting.GetIsActive() == 0 ? 1 : 0);
  if (setting.GetType() != kSettingTypeArray) {
    setting.SetOptionalText("changed");
    setting.SetIsOptional(setting.GetIsOptional() == 0 ? 1 : 0);
    setting.SetIsOptionalValueSpecified(setting.GetIsOptionalValueSpecified() == 0 ? 1 : 0);
  }
}

/// Copies of `named` and of what it holds are equal to it and independent.
void CheckCopiesOf(const NamedSetting& named) {
  const std::string copying = "CreateCopy of " + DisplayName(named);
  const SettingState original = StateOf(named);
  const OwnedSetting first = CopyOf(named);
  const OwnedSetting second(CopyOf(NamedLike(named, first)));
  ExpectSameState(original, StateOf(NamedLike(named, first)), copying);
  ExpectSameState(original, StateOf(NamedLike(named, second)), "CreateCopy of a copy");
  Change(*first);
  ExpectSameState(original, StateOf(named), "changing a copy of it");
  const SettingState changed = StateOf(NamedLike(named, first));
  Change(*named.setting);
  ExpectSameState(changed, StateOf(NamedLike(named, first)), "changing what it is a copy of");
  ExpectSameState(original, StateOf(NamedLike(named, second)), "changing what it is a copy of");
}

/// Changes all settings and validates them.
void ChangeAll(IAudioCompressor& compressor) {
  for (const NamedSetting& named : ValueSettingsOf(compressor)) {
    Change(*named.setting);
  }
  compressor.ValidateSettings();
}

/// A copy of the compressor. Fails the check for null.
CompressorOwner CopyOf(IAudioCompressor& compressor) {
  CompressorOwner copy(compressor.CreateCopy());
  Expect(copy != nullptr, "a copy of the compressor from CreateCopy", "null");
  return copy;
}

/// Copies of settings are equal, independent, and outlive the compressor.
void CopiesSettings(const CheckedModule& module) {
  SpoilFreedMemory();
  CompressorOwner compressor = module.CreateCompressor();
  for (const NamedSetting& named : SettingsOf(*compressor)) {
    CheckCopiesOf(named);
  }
  const std::vector<NamedSetting> settings = ValueSettingsOf(*compressor);
  const std::vector<SettingState> originals = StatesOf(settings);
  std::vector<OwnedSetting> owners;
  std::vector<NamedSetting> copies;
  for (const NamedSetting& named : settings) {
    owners.push_back(CopyOf(named));
    copies.push_back(NamedLike(named, owners.back()));
  }
  compressor.reset();
  ExpectSameStates(originals, StatesOf(copies), "the release of the compressor, in a copy");
}

/// A copy of the compressor has equal settings, which are independent of the original's and outlive it.
void CopiesCompressor(const CheckedModule& module) {
  SpoilFreedMemory();
  CompressorOwner original = module.CreateCompressor();
  ChangeAll(*original);
  const std::vector<SettingState> states = StatesOf(SettingsOf(*original));

  CompressorOwner copy = CopyOf(*original);
  ExpectSameStates(states, StatesOf(SettingsOf(*copy)), "CreateCopy of the compressor");
  ExpectSameStates(states, StatesOf(SettingsOf(*original)), "CreateCopy of the compressor, in the original");
  ExpectEqual(unsigned{original->GetOutputPacketType()}, unsigned{copy->GetOutputPacketType()},
              "output packet type of a copy of the compressor");
  ChangeAll(*copy);
  ExpectSameStates(states, StatesOf(SettingsOf(*original)), "changing a copy of the compressor");
  copy = CopyOf(*original);
  ChangeAll(*original);
  ExpectSameStates(states, StatesOf(SettingsOf(*copy)), "changing the compressor that it is a copy of");
  original.reset();
  ExpectSameStates(states, StatesOf(SettingsOf(*copy)), "the release of the compressor that it is a copy of");
}

}  // namespace

std::span<const Check> SettingCopyChecks() {
  static constexpr auto kChecks = std::to_array<Check>({
      {"settings.copies", "Hosts keep copies of settings for undo; these must not change with the originals.",
       OnModule<CopiesSettings>, kHasSettings},
      {"settings.compressor-copies", "A host that encodes side by side gives each file a copy of the compressor.",
       OnModule<CopiesCompressor>, kHasSettings},
  });
  return kChecks;
}
