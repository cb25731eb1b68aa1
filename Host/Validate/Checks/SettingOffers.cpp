#include "Host/Settings/SettingKinds.h"
#include "Host/Settings/SettingText.h"
#include "Host/Text/Numbers.h"
#include "Host/Text/Utf8.h"
#include "Host/Validate/Checks/SettingCheckFunctions.h"
#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/SettingValues.h"
#include "Host/Validate/Support/ShownTexts.h"
#include "Host/Validate/Support/Subject.h"

#include <algorithm>
#include <limits>

namespace {

/// What a setting lists: every item found where it is listed, none twice, none beyond the range.
struct ListCheck {
  const std::string& name;

  bool operator()(ISetting& /*setting*/) const { return false; }
  template <class Number>
  bool operator()(INumericSetting<Number>& setting) const {
    const Number min = setting.GetMinValue();
    const Number max = setting.GetMaxValue();
    const std::string range = NumberText(min) + " to " + NumberText(max);
    Expect(min <= max, "a range of \"" + name + "\" from low to high", range);
    const unsigned int count = setting.GetNumberOfAllowableValues();
    for (unsigned int index = 0; index < count; ++index) {
      const Number value = setting.GetAllowableValue(index);
      ExpectFound(index, setting.FindIndexOf(value), NumberText(value));
      Expect(min == max || (value >= min && value <= max), "every allowable value of \"" + name + "\" within " + range,
             NumberText(value));
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
    Expect(found >= 0 && static_cast<unsigned int>(found) == index,
           "FindIndexOf(" + item + ") of \"" + name + "\" to find item " + std::to_string(index) +
               " of a list without equal ones",
           std::to_string(found));
  }
};

constexpr unsigned int kFarthest = std::numeric_limits<unsigned int>::max();

/// Indexes that a setting does not have: nothing is selected, nothing is found, nothing is written.
struct IndexCheck {
  const std::string& name;

  bool operator()(ISetting& /*setting*/) const { return false; }
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
    std::vector<unsigned int> numbers(std::size_t{count} + 1, kFarthest);
    const auto untouched = [&numbers](std::size_t from) {
      return std::all_of(numbers.begin() + static_cast<std::ptrdiff_t>(from), numbers.end(),
                         [](unsigned int number) { return number == kFarthest; });
    };
    if (count != 0) {
      setting.GetValues(numbers.data(), count - 1);
      Expect(untouched(0), "GetValues of \"" + name + "\" to write nothing where not all fit", "written memory");
      setting.SetValues(numbers.data(), count - 1);
      ExpectText("SetValues of too few, up to", count - 1, before, ValueText(setting));
    }
    setting.GetValues(numbers.data(), count + 1);
    Expect(untouched(count), "GetValues of \"" + name + "\" to write its values alone", "memory written beyond");
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
  void ExpectText(const std::string& call, unsigned int index, const std::string& expected,
                  const std::string& came) const {
    Expect(came == expected,
           Shortened(expected) + " at \"" + name + "\" with " + call + '(' + std::to_string(index) +
               "), an index that it does not have",
           Shortened(came));
  }
};

/// Makes a check on each setting. Skips when it answers true, that it applies, for none.
template <class CheckOne>
void CheckEach(const std::string& path, const std::string& reason) {
  const CheckedModule module = LoadModule(path);
  const CompressorOwner compressor = NewCompressor(module);
  bool applies = false;
  for (const NamedSetting& named : SettingsOf(*compressor)) {
    applies = VisitSetting(*named.setting, CheckOne{named.name}) || applies;
  }
  if (!applies) {
    throw CheckSkipped{reason};
  }
}

}  // namespace

void CheckSettingTexts(const std::string& path) {
  const CheckedModule module = LoadModule(path);
  const CompressorOwner compressor = NewCompressor(module);
  for (const auto& [what, text, use] : ShownTextsOf(*compressor)) {
    Expect(text != nullptr, what, "null");
    Expect(use == ShownText::Use::kValue || IsUtf8(text), what + " in UTF-8", Quoted(text));
    Expect(use != ShownText::Use::kName || *text != '\0', what + " that is not empty", "\"\"");
  }
}

void CheckPresetLabels(const std::string& path) {
  const CheckedModule module = LoadModule(path);
  const CompressorOwner compressor = NewCompressor(module);
  for (const NamedSetting& named : SettingsOf(*compressor)) {
    // The tree falls back to the place where a label is taken.
    const std::string label = named.setting->GetPresetLabel();
    Expect(!IsUtf8(label) || named.name.ends_with(label),
           "a preset label for \"" + named.name + "\" that no other setting beside it has", '"' + label + '"');
  }
}

void CheckDefaults(const std::string& path) {
  const CheckedModule module = LoadModule(path);
  const CompressorOwner compressor = NewCompressor(module);
  for (const NamedSetting& named : SettingsOf(*compressor)) {
    const std::string fault = ValueFault(*named.setting);
    Expect(fault.empty(), "\"" + named.name + "\" to start with a value that it allows", fault);
  }
}

void CheckLists(const std::string& path) { CheckEach<ListCheck>(path, "no setting has a list"); }

void CheckIndexes(const std::string& path) { CheckEach<IndexCheck>(path, "no setting has indexes"); }
