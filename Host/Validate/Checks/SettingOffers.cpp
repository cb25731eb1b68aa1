#include "Host/Settings/SettingKinds.h"
#include "Host/Settings/SettingText.h"
#include "Host/Text/Numbers.h"
#include "Host/Text/Utf8.h"
#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/CheckedModule.h"
#include "Host/Validate/Support/CompressorUnderTest.h"
#include "Host/Validate/Support/SettingValues.h"
#include "Host/Validate/Support/ShownTexts.h"

#include <algorithm>
#include <array>
#include <limits>

namespace {

/// What a setting lists: every item found where it is listed, none twice, none beyond the range.
struct ListCheck {
  const std::string& name;

  template <SettingWithoutList Setting>
  bool operator()(Setting& /*setting*/) const {
    return false;
  }
  bool operator()(ISettingArray& /*container*/) const { return false; }
  bool operator()(const UnknownSetting& /*setting*/) const { return false; }
  template <class Number>
  bool operator()(INumericSetting<Number>& setting) const {
    const Number min = setting.GetMinValue();
    const Number max = setting.GetMaxValue();
    const std::string range = fmt::format("{} to {}", NumberText(min), NumberText(max));
    ExpectThat(min <= max, range, "a range of {} from low to high", name);
    const unsigned int count = setting.GetNumberOfAllowableValues();
    for (unsigned int index = 0; index < count; ++index) {
      const Number value = setting.GetAllowableValue(index);
      ExpectFound(index, setting.FindIndexOf(value), NumberText(value));
      ExpectThat(min == max || (value >= min && value <= max), NumberText(value),
                 "every allowable value of {} within {}", name, range);
    }
    return count != 0;
  }
  bool operator()(IEnumSetting& setting) const {
    const unsigned int count = setting.GetNumberOfAllowableValues();
    for (unsigned int index = 0; index < count; ++index) {
      const char* const entry = setting.GetAllowableValue(index);
      ExpectFound(index, setting.FindIndexOf(entry), Quoted(entry));
    }
    return true;
  }

 private:
  void ExpectFound(unsigned int index, int found, const std::string& item) const {
    ExpectEqual(index, found, "FindIndexOf({}) of {}, whose list has no equal items", item, name);
  }
};

/// The largest index.
constexpr unsigned int kFarthest = std::numeric_limits<unsigned int>::max();

/// Indexes that a setting does not have: nothing is selected, nothing is found, nothing is written.
struct IndexCheck {
  const std::string& name;

  template <
      OneOf<IBoolSetting, IFileSetting, ITextSetting, ITimeCodeSetting, ITimeInOutSetting, IByteArraySetting> Setting>
  bool operator()(Setting& /*setting*/) const {
    return false;
  }
  bool operator()(const UnknownSetting& /*setting*/) const { return false; }
  template <class Number>
  bool operator()(INumericSetting<Number>& setting) const {
    for (const unsigned int index : {setting.GetNumberOfAllowableValues(), kFarthest}) {
      ExpectText("GetAllowableValue", index, "0", NumberText(setting.GetAllowableValue(index)));
      ExpectUnselected(setting, index);
    }
    return true;
  }
  bool operator()(IEnumSetting& setting) const {
    for (const unsigned int index : {setting.GetNumberOfAllowableValues(), kFarthest}) {
      ExpectText("GetAllowableValue", index, "\"\"", Quoted(setting.GetAllowableValue(index)));
      ExpectUnselected(setting, index);
    }
    return true;
  }
  bool operator()(IUnsignedIntArraySetting& setting) const {
    const unsigned int count = setting.GetNumberOfValues();
    const std::string before = ValueText(setting);
    for (const unsigned int index : {count, kFarthest}) {
      ExpectText("GetValue", index, "0", NumberText(setting.GetValue(index)));
      setting.SetValue(index, 1);
      ExpectText("SetValue", index, before, ValueText(setting));
      ExpectText("GetValueLabel", index, "null", Quoted(setting.GetValueLabel(index)));
    }
    // One element more than the setting has values, which must stay as it is.
    std::vector<unsigned int> numbers(std::size_t{count} + 1, kFarthest);
    const auto untouched = [&numbers](std::size_t from) {
      return std::all_of(numbers.begin() + static_cast<std::ptrdiff_t>(from), numbers.end(),
                         [](unsigned int number) { return number == kFarthest; });
    };
    if (count != 0) {
      setting.GetValues(numbers.data(), count - 1);
      ExpectThat(untouched(0), "written memory", "GetValues of {} to write nothing where not all fit", name);
      setting.SetValues(numbers.data(), count - 1);
      ExpectText("SetValues of too few, up to", count - 1, before, ValueText(setting));
    }
    setting.GetValues(numbers.data(), count + 1);
    ExpectThat(untouched(count), "memory written behind them", "GetValues of {} to write its values alone", name);
    return true;
  }
  bool operator()(ISettingArray& container) const {
    for (const unsigned int index : {container.GetNumberOfSettings(), kFarthest}) {
      ExpectText("GetSetting", index, "null", container.GetSetting(index) == nullptr ? "null" : "a setting");
    }
    return true;
  }

 private:
  template <class Setting>
  void ExpectUnselected(Setting& setting, unsigned int index) const {
    const std::string before = ValueText(setting);
    setting.SetSelected(index);
    ExpectText("SetSelected", index, before, ValueText(setting));
  }
  void ExpectText(const char* call, unsigned int index, const std::string& expected, const std::string& actual) const {
    ExpectThat(actual == expected, Shortened(actual), "{} of {} with {}({}), an index out of range",
               Shortened(expected), name, call, index);
  }
};

/// Runs a check on each setting. Skips when it answers true, that it applies, for none.
template <class CheckOne>
void ForEachApplicable(IAudioCompressor& compressor, const char* reason) {
  bool applies = false;
  for (const NamedSetting& named : SettingsOf(compressor)) {
    applies = VisitSetting(*named.setting, CheckOne{DisplayName(named)}) || applies;
  }
  if (!applies) {
    throw CheckSkipped{reason};
  }
}

/// All texts are there, stay as they are, and are in UTF-8; labels are not empty.
void HasTexts(IAudioCompressor& compressor) {
  for (const auto& [what, text, copy, use] : ShownTextsOf(compressor)) {
    Expect(text != nullptr, what, "null");
    ExpectThat(text == copy, Shortened(text), "{} unchanged while others are read: {}", what, Shortened(copy));
    ExpectThat(use == ShownText::Use::kValue || IsUtf8(text), Quoted(text), "{} in UTF-8", what);
    ExpectThat(use != ShownText::Use::kName || *text != '\0', "\"\"", "{} that is not empty", what);
  }
}

/// No two settings in one container have the same preset label.
void HasPresetLabels(IAudioCompressor& compressor) {
  for (const NamedSetting& named : SettingsOf(compressor)) {
    // The name contains the index instead where a label is taken.
    const std::string label = named.setting->GetPresetLabel();
    ExpectThat(!IsUtf8(label) || named.name.ends_with(label), '"' + label + '"',
               "a preset label for {} that no other setting beside it has", DisplayName(named));
  }
}

/// A new compressor's settings have values that they allow.
void HasDefaults(IAudioCompressor& compressor) {
  for (const NamedSetting& named : SettingsOf(compressor)) {
    const std::string fault = ValueFault(*named.setting);
    ExpectThat(fault.empty(), fault, "{} to start with a value that it allows", DisplayName(named));
  }
}

void HasLists(IAudioCompressor& compressor) { ForEachApplicable<ListCheck>(compressor, "no setting has a list"); }

void ChecksIndexes(IAudioCompressor& compressor) {
  ForEachApplicable<IndexCheck>(compressor, "no setting has indexes");
}

}  // namespace

std::span<const Check> SettingOfferChecks() {
  static constexpr auto kChecks = std::to_array<Check>({
      {kHasSettings, "A null text crashes hosts, one that is not UTF-8 shows as garbage, a missing one as nothing.",
       OnCompressor<HasTexts>, kHasCompressors},
      {"settings.preset-labels", "Two settings filed under one name overwrite each other in presets.",
       OnCompressor<HasPresetLabels>, kHasSettings},
      {"settings.defaults", "A dialog that opens with a value it does not offer cannot be confirmed unchanged.",
       OnCompressor<HasDefaults>, kHasSettings},
      {"settings.lists", "Choices that are listed twice, or beyond the range, cannot be made in a dialog.",
       OnCompressor<HasLists>, kHasSettings},
      {"settings.indexes", "An index out of range, from an older preset or a stale dialog, must do no harm.",
       OnCompressor<ChecksIndexes>, kHasSettings},
  });
  return kChecks;
}
