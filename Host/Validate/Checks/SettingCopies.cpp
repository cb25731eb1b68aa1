#include "Host/Validate/Checks/SettingCheckFunctions.h"
#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/SettingState.h"
#include "Host/Validate/Support/SettingValues.h"
#include "Host/Validate/Support/Subject.h"
#include "RHOAPI/RhoapiAudioCodec.h"

#include <memory>

namespace {

using OwnedSetting = std::unique_ptr<ISetting>;

/// A copy of a setting as a setting of that name.
NamedSetting NamedLike(const NamedSetting& named, const OwnedSetting& copy) {
  return {named.name, named.depth, copy.get()};
}

OwnedSetting CopyOf(const NamedSetting& named) {
  OwnedSetting copy(named.setting->CreateCopy());
  const std::string what = "a copy of \"" + named.name + "\" from CreateCopy";
  Expect(copy != nullptr, what, "null");
  if (copy.get() == named.setting) {
    static_cast<void>(copy.release());  // it is not the host's to delete
    throw CheckFailed{what, "the setting itself"};
  }
  Expect(copy->GetType() == named.setting->GetType(), what + ", of type " + std::to_string(named.setting->GetType()),
         "type " + std::to_string(copy->GetType()));
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
  const std::string copying = "CreateCopy of \"" + named.name + '"';
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

void ChangeAll(IAudioCompressor& compressor) {
  for (const NamedSetting& named : ValueSettingsOf(compressor)) {
    Change(*named.setting);
  }
  compressor.ValidateSettings();
}

CompressorOwner CopyOf(IAudioCompressor& compressor) {
  CompressorOwner copy(compressor.CreateCopy());
  Expect(copy != nullptr, "a copy of the compressor from CreateCopy", "null");
  if (copy.get() == &compressor) {
    static_cast<void>(copy.release());  // it is released once, as the original
    throw CheckFailed{"a copy of the compressor from CreateCopy", "the compressor itself"};
  }
  return copy;
}

}  // namespace

void CheckCopies(const std::string& path) {
  SpoilFreedMemory();
  const CheckedModule module = LoadModule(path);
  CompressorOwner compressor = NewCompressor(module);
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
  ExpectSameStates(originals, StatesOf(copies), "the compressor's end, in a copy");
}

void CheckCompressorCopies(const std::string& path) {
  SpoilFreedMemory();
  const CheckedModule module = LoadModule(path);
  CompressorOwner original = NewCompressor(module);
  ChangeAll(*original);
  const std::vector<SettingState> states = StatesOf(SettingsOf(*original));

  CompressorOwner copy = CopyOf(*original);
  ExpectSameStates(states, StatesOf(SettingsOf(*copy)), "CreateCopy of the compressor");
  Expect(copy->GetOutputPacketType() == original->GetOutputPacketType(),
         "output packet type " + std::to_string(original->GetOutputPacketType()) + " in a copy of the compressor",
         std::to_string(copy->GetOutputPacketType()));
  ChangeAll(*copy);
  ExpectSameStates(states, StatesOf(SettingsOf(*original)), "changing a copy of the compressor");
  copy = CopyOf(*original);
  ChangeAll(*original);
  ExpectSameStates(states, StatesOf(SettingsOf(*copy)), "changing the compressor that it is a copy of");
  original.reset();
  ExpectSameStates(states, StatesOf(SettingsOf(*copy)), "the end of the compressor that it is a copy of");
}
