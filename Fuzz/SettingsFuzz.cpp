// Settings of every kind, containers among them: values go in and come out, copies are equal and independent.

#include "Fuzz/Fuzz.h"
#include "Host/Plugin/Module.h"
#include "Host/Settings/SettingKinds.h"
#include "Host/Settings/SettingText.h"
#include "Host/Text/Errors.h"
#include "Plugins/EncodersAndFormatters/PCMPlugin/PCMPlugin.h"
#include "Tests/Support/Settings.h"

#include <cmath>

namespace {

/// The attributes and the value of a setting, which may be null; for a container, those of its contents.
std::string Describe(ISetting* setting) {
  if (setting == nullptr || setting->GetType() != kSettingTypeArray) {
    return setting == nullptr ? "null" : ReadSlots(setting, 2, kCommonGetters) + ValueText(*setting);
  }
  auto& container = static_cast<ISettingArray&>(*setting);
  std::string text = std::to_string(setting->GetIsActive());
  for (unsigned index = 0; index < container.GetNumberOfSettings(); ++index) {
    text += Describe(container.GetSetting(index));
  }
  return text;
}

/// Changes a setting by a number or a text. For numbers it predicts the result, and for containers it adds a copy.
struct Change {
  unsigned number;
  std::string text;

  void operator()(ISettingArray& setting) const {
    const ISetting* const one = setting.GetSetting(number % 13);
    static_cast<SettingArray&>(setting).AddSetting(one == nullptr ? nullptr : one->CreateCopy());
  }
  template <class Number>
  void operator()(INumericSetting<Number>& setting) const {
    // Numbers with a fraction are compared in thousandths, as DoubleSetting documents it.
    const auto key = [](auto n) { return std::is_integral_v<Number> ? n : std::trunc((n + 5e-5) * 1000); };
    const auto more = static_cast<Number>(std::is_integral_v<Number> ? number : number / 1e4);
    const Number value = setting.GetAllowableValue(number % 4) + more;
    unsigned index = 0;
    while (index < setting.GetNumberOfAllowableValues() && key(setting.GetAllowableValue(index)) != key(value)) {
      ++index;
    }
    const bool isListed = index < setting.GetNumberOfAllowableValues();
    const Number expected = isListed || setting.GetIsValueConstrained() == 0 ? value : setting.GetValue();
    setting.SetValue(value);
    Expect(setting.FindIndexOf(value) == (isListed ? static_cast<int>(index) : -1) && setting.GetValue() == expected);
  }
  template <OneOf<IBoolSetting, IEnumSetting, IFileSetting, ITextSetting, ITimeCodeSetting, ITimeInOutSetting,
                  IUnsignedIntArraySetting, IByteArraySetting, ISettingArray>
                Setting>
  void operator()(Setting& setting) const {
    try {
      SetValueText(setting, text);
    } catch (const WrongUse&) {  // then it is as before
    }
  }
  void operator()(const UnknownSetting& /*setting*/) const {}
};

}  // namespace

void Fuzz(FuzzedDataProvider& data) {
  const CompressorOwner codec(CreateAudioCompressor(FourCharacterCode("TEST"), FourCharacterCode("ALL\1")));
  const std::unique_ptr<ISetting> all(codec->GetNonStandardSettings()->CreateCopy());
  // The size is limited since containers grow with each copy that is added.
  for (std::string before = Describe(all.get()); data.remaining_bytes() != 0 && before.size() < 5000;) {
    const std::unique_ptr<ISetting> copy(all->CreateCopy());
    // Any setting in the tree: at each container the data decides whether to go down.
    ISetting* setting = all.get();
    while (setting != nullptr && setting->GetType() == kSettingTypeArray && data.ConsumeBool()) {
      setting = static_cast<ISettingArray*>(setting)->GetSetting(data.ConsumeIntegralInRange(0U, 12U));
    }
    const auto number = data.ConsumeIntegralInRange(0U, 65535U);
    const Change change{number, data.ConsumeRandomLengthString(300)};
    if (setting != nullptr) {
      VisitSetting(*setting, change);
      setting->SetToolTipText(change.text.c_str());
      setting->SetIsActive(number);
    }
    // The copy does not follow the original.
    Expect(Describe(copy.get()) == before);
    before = Describe(all.get());
  }
}
