#include "Host/Settings/SettingJson.h"
#include "Host/Settings/SettingKinds.h"
#include "Host/Settings/SettingText.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Numbers.h"
#include "Host/Validate/Checks/SettingCheckFunctions.h"
#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/Combinations.h"
#include "Host/Validate/Support/SettingState.h"
#include "Host/Validate/Support/SettingValues.h"
#include "Host/Validate/Support/ShownTexts.h"
#include "Host/Validate/Support/Subject.h"
#include "RHOAPI/RhoapiAudioCodec.h"

#include <strings.h>
#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace {

void ExpectValue(ISetting& setting, const std::string& name, const std::string& value, const std::string& action) {
  const std::string came = ValueText(setting);
  Expect(came == value, '"' + name + "\" at " + Shortened(value) + " after " + action, Shortened(came));
}

/// Every allowable value, and every other one worth trying, is taken as it is and read back.
struct AllowedCheck {
  const std::string& name;

  template <class Number>
  void operator()(INumericSetting<Number>& setting) const {
    for (unsigned int index = 0; index < setting.GetNumberOfAllowableValues(); ++index) {
      const Number value = setting.GetAllowableValue(index);
      setting.SetSelected(index);
      ExpectValue(setting, name, NumberText(value), "SetSelected(" + std::to_string(index) + ')');
      setting.SetSelected(0);
      setting.SetValue(value);
      ExpectValue(setting, name, NumberText(value), "SetValue of it");
    }
    TryOthers(setting);
  }
  void operator()(IEnumSetting& setting) const {
    for (unsigned int index = 0; index < setting.GetNumberOfAllowableValues(); ++index) {
      const std::string entry = setting.GetAllowableValue(index);
      setting.SetSelected(index);
      ExpectValue(setting, name, entry, "SetSelected(" + std::to_string(index) + ')');
      setting.SetSelected(0);
      setting.SetValue(entry.c_str());
      ExpectValue(setting, name, entry, "SetValue of it");
      for (const auto change : {tolower, toupper}) {
        std::string changed = entry;
        std::transform(entry.begin(), entry.end(), changed.begin(), [change](char character) {
          return static_cast<char>(change(static_cast<unsigned char>(character)));
        });
        setting.SetValue(changed.c_str());
        std::string expected = '"' + name + "\" at ";
        expected.append(Quoted(entry.c_str()))
            .append(" or its like after SetValue of ")
            .append(Quoted(changed.c_str()));
        Expect(strcasecmp(setting.GetValue(), entry.c_str()) == 0, expected, Quoted(setting.GetValue()));
      }
    }
  }
  void operator()(ISettingArray& /*container*/) const {}
  void operator()(ISetting& setting) const { TryOthers(setting); }

 private:
  void TryOthers(ISetting& setting) const {
    for (const std::string& value : ValuesToTry(setting)) {
      try {
        SetValueText(setting, value);
      } catch (const WrongUse&) {
        throw CheckFailed{'"' + name + "\" to take and keep " + Shortened(value), Shortened(ValueText(setting))};
      }
    }
  }
};

/// What is not allowable leaves a constrained setting as it is; an unconstrained one takes whatever number it is given.
struct NotAllowedCheck {
  const std::string& name;

  bool operator()(ISetting& /*setting*/) const { return false; }
  template <class Number>
  bool operator()(INumericSetting<Number>& setting) const {
    const bool isConstrained = setting.GetIsValueConstrained() != 0;
    for (const Number number : NumbersNotListed(setting)) {
      const std::string text = NumberText(number);
      Expect(setting.FindIndexOf(number) == -1, "FindIndexOf(" + text + ") of \"" + name + "\" -1",
             std::to_string(setting.FindIndexOf(number)));
      const std::string before = ValueText(setting);
      setting.SetValue(number);
      ExpectValue(setting, name, isConstrained ? before : text,
                  "SetValue(" + text + ") while " + (isConstrained ? "" : "not ") + "constrained to its list");
    }
    return true;
  }
  bool operator()(IEnumSetting& setting) const {
    const char* const text = "?? no such entry ??";
    for (unsigned int index = 0; index < setting.GetNumberOfAllowableValues(); ++index) {
      // An entry that is a beginning of the text stands for it.
      const std::string entry = setting.GetAllowableValue(index);
      if (strncasecmp(text, entry.c_str(), entry.size()) == 0) {
        return false;
      }
    }
    const std::string before = ValueText(setting);
    setting.SetValue(text);
    ExpectValue(setting, name, before, std::string("SetValue(\"") + text + "\")");
    Expect(setting.FindIndexOf(text) == -1, std::string("FindIndexOf(\"") + text + "\") of \"" + name + "\" -1",
           std::to_string(setting.FindIndexOf(text)));
    return true;
  }
  bool operator()(IFileSetting& setting) const {
    const std::string taken(255, 'x');
    setting.SetValue((taken + "yz").c_str());
    ExpectValue(setting, name, taken, "SetValue of a path of 257 bytes, of which it takes 255");
    return true;
  }

 private:
  /// Numbers beside and beyond those that the setting allows.
  template <class Number>
  static std::vector<Number> NumbersNotListed(INumericSetting<Number>& setting) {
    using Limits = std::numeric_limits<Number>;
    std::vector<Number> numbers{Limits::lowest(), Number(0), Number(1), Limits::max()};
    std::vector<Number> listed;
    for (unsigned int index = 0; index < setting.GetNumberOfAllowableValues(); ++index) {
      const Number value = setting.GetAllowableValue(index);
      listed.push_back(value);
      if (value > Limits::lowest() && value < Limits::max()) {
        numbers.insert(numbers.end(), {static_cast<Number>(value - 1), static_cast<Number>(value + 1)});
      }
    }
    std::erase_if(numbers, [&listed](Number number) {
      return std::any_of(listed.begin(), listed.end(), [number](Number value) {
        // Numbers with a fraction count as equal when they agree in thousandths.
        return std::abs(static_cast<double>(value) - static_cast<double>(number)) < 0.01;
      });
    });
    return numbers;
  }
};

/// Flags and texts are kept as given, and whether an optional value counts does not change it.
void CheckFlagsOf(ISetting& setting, const std::string& name) {
  const auto expect = [&name](const std::string& call, unsigned int expected, unsigned int came) {
    Expect(came == expected, call + " of \"" + name + "\" as set: " + std::to_string(expected), std::to_string(came));
  };
  const std::string value = ValueText(setting);
  for (const unsigned int flag : {5U, 0U, 1U}) {
    setting.SetIsOptional(flag);
    expect("GetIsOptional", flag, setting.GetIsOptional());
    setting.SetIsOptionalValueSpecified(flag);
    expect("GetIsOptionalValueSpecified", flag, setting.GetIsOptionalValueSpecified());
    ExpectValue(setting, name, value, "SetIsOptionalValueSpecified(" + std::to_string(flag) + ')');
  }
  setting.SetIsActive(0);
  const bool isAlwaysActive = setting.GetIsActive() == 1;
  for (const unsigned int flag : {5U, 0U, 1U}) {
    setting.SetIsActive(flag);
    expect("GetIsActive", isAlwaysActive ? 1 : flag, setting.GetIsActive());
  }
  std::string text = "Text";
  setting.SetOptionalText(text.c_str());
  setting.SetToolTipText(text.c_str());
  text.assign(text.size(), '?');
  for (const char* const kept : {setting.GetOptionalText(), setting.GetToolTipText()}) {
    Expect(Quoted(kept) == R"("Text")", "optional text and tool tip of \"" + name + R"(" copied: "Text")",
           Quoted(kept));
  }
}

/// Hands the values of `source` to `target` the way presets do.
void Transfer(IAudioCompressor& source, IAudioCompressor& target) {
  std::vector<Assignment> assignments;
  const std::vector<NamedSetting> targets = ValueSettingsOf(target);
  for (const NamedSetting& named : ValueSettingsOf(source)) {
    if (ISetting* const setting = FindSetting(targets, named.name)) {
      assignments.push_back({setting, '"' + named.name + "\": ", [setting, value = ValueJson(*named.setting)] {
                               SetValueJson(*setting, value);
                             }});
    }
  }
  Assign(target, assignments);
}

}  // namespace

void CheckAllowed(const std::string& path) {
  const CheckedModule module = LoadModule(path);
  const CompressorOwner compressor = NewCompressor(module);
  for (const NamedSetting& named : SettingsOf(*compressor)) {
    VisitSetting(*named.setting, AllowedCheck{named.name});
  }
}

void CheckNotAllowed(const std::string& path) {
  const CheckedModule module = LoadModule(path);
  const CompressorOwner compressor = NewCompressor(module);
  bool applies = false;
  for (const NamedSetting& named : SettingsOf(*compressor)) {
    applies = VisitSetting(*named.setting, NotAllowedCheck{named.name}) || applies;
  }
  if (!applies) {
    throw CheckSkipped{"every setting takes every value"};
  }
}

void CheckFlags(const std::string& path) {
  const CheckedModule module = LoadModule(path);
  const CompressorOwner compressor = NewCompressor(module);
  for (const NamedSetting& named : ValueSettingsOf(*compressor)) {
    CheckFlagsOf(*named.setting, named.name);
  }
}

void CheckPresets(const std::string& path) {
  constexpr unsigned int kRandomOnes = 20;
  const CheckedModule module = LoadModule(path);
  const CompressorOwner source = NewCompressor(module);
  for (const Combination& combination : CombinationsOf(*source, kRandomOnes)) {
    combination.ApplyTo(*source);
    const CompressorOwner target = NewCompressor(module);
    try {
      Transfer(*source, *target);
    } catch (const WrongUse& refusal) {
      throw CheckFailed{"a preset of " + combination.name + SeedText() + " to be taken by another compressor",
                        refusal.what()};
    }
    ExpectSameStates(StatesOf(ValueSettingsOf(*source)), StatesOf(ValueSettingsOf(*target)),
                     "a preset of " + combination.name + SeedText());
  }
}
