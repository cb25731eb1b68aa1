#include "Host/Settings/Assignment.h"
#include "Host/Settings/SettingJson.h"
#include "Host/Settings/SettingKinds.h"
#include "Host/Settings/SettingText.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Numbers.h"
#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Engine/Seed.h"
#include "Host/Validate/Support/CheckedModule.h"
#include "Host/Validate/Support/Combinations.h"
#include "Host/Validate/Support/CompressorUnderTest.h"
#include "Host/Validate/Support/EntryMatch.h"
#include "Host/Validate/Support/SettingState.h"
#include "Host/Validate/Support/SettingValues.h"
#include "Host/Validate/Support/ShownTexts.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <vector>

namespace {

/// Fails the check unless the setting has that value, as text, after `action`.
void ExpectValue(ISetting& setting, const std::string& name, const std::string& value, const std::string& action) {
  const std::string actual = ValueText(setting);
  ExpectThat(actual == value, Shortened(actual), "{} at {} after {}", name, Shortened(value), action);
}

/// Every allowable value, and every other one worth trying, is taken as it is and read back.
struct AllowedCheck {
  const std::string& name;

  template <class Number>
  void operator()(INumericSetting<Number>& setting) const {
    TryAll(setting, [](Number value) { return NumberText(value); });
    TryOthers(setting);
  }
  void operator()(IEnumSetting& setting) const {
    TryAll(setting, [](const char* value) { return std::string(value); });
    std::vector<unsigned int> selected;
    for (unsigned int index = 0; index < setting.GetNumberOfAllowableValues(); ++index) {
      setting.SetSelected(index);
      selected.push_back(setting.GetSelected());
      ExpectEqual(1, std::count(selected.begin(), selected.end(), selected.back()),
                  "number of entries of {} for which GetSelected gives {}", name, selected.back());
    }
  }
  void operator()(ISettingArray& /*container*/) const {}
  template <SettingWithoutList Setting>
  void operator()(Setting& setting) const {
    TryOthers(setting);
  }
  void operator()(const UnknownSetting& /*setting*/) const {}

 private:
  /// Each item of the list, by index and by value, while another one is selected.
  template <class Setting, class MakeText>
  void TryAll(Setting& setting, const MakeText& makeText) const {
    const unsigned int count = setting.GetNumberOfAllowableValues();
    for (unsigned int index = 0; index < count; ++index) {
      const std::string text = makeText(setting.GetAllowableValue(index));
      setting.SetSelected((index + 1) % count);
      setting.SetSelected(index);
      ExpectValue(setting, name, text, fmt::format("SetSelected({})", index));
      setting.SetSelected((index + 1) % count);
      setting.SetValue(setting.GetAllowableValue(index));
      ExpectValue(setting, name, text, "SetValue of it");
    }
  }
  /// Sets each of ValuesToTry as a host does. Fails the check for a value that is refused or changed.
  void TryOthers(ISetting& setting) const {
    for (const std::string& value : ValuesToTry(setting)) {
      try {
        SetValueText(setting, value);
      } catch (const WrongUse&) {
        throw CheckFailed{fmt::format("{} to take and keep {}", name, Shortened(value)), Shortened(ValueText(setting))};
      }
    }
  }
};

/// A constrained setting ignores what is not allowable; an unconstrained one takes whatever number it is given.
struct NotAllowedCheck {
  const std::string& name;

  template <OneOf<IBoolSetting, IEnumSetting, ITextSetting, ITimeCodeSetting, ITimeInOutSetting,
                  IUnsignedIntArraySetting, IByteArraySetting, ISettingArray>
                Setting>
  bool operator()(Setting& /*setting*/) const {
    return false;
  }
  bool operator()(const UnknownSetting& /*setting*/) const { return false; }
  template <class Number>
  bool operator()(INumericSetting<Number>& setting) const {
    const bool isConstrained = setting.GetIsValueConstrained() != 0;
    for (const Number number : NumbersNotListed(setting)) {
      const std::string text = NumberText(number);
      ExpectEqual(-1, setting.FindIndexOf(number), "FindIndexOf({}) of {}", text, name);
      const std::string before = ValueText(setting);
      setting.SetValue(number);
      ExpectValue(setting, name, isConstrained ? before : text,
                  fmt::format("SetValue({}) while {}constrained to its list", text, isConstrained ? "" : "not "));
    }
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

/// Entries are found by their exact text, else by other letter case, else by a prefix.
void CheckMatches(IEnumSetting& setting, const std::string& name) {
  const std::vector<std::string> entries = EntriesOf(setting);
  for (const std::string& text : TextsToMatch(entries)) {
    const auto exact = std::find(entries.begin(), entries.end(), text);
    ExpectEqual(exact == entries.end() ? -1 : exact - entries.begin(), setting.FindIndexOf(text.c_str()),
                "FindIndexOf({}) of {}", Quoted(text.c_str()), name);
    const std::vector<std::string> matches = MatchesOf(entries, text);
    for (unsigned int start = 0; start < entries.size(); ++start) {
      setting.SetSelected(start);
      setting.SetValue(text.c_str());
      const std::string actual = setting.GetValue();
      ExpectThat(matches.empty() ? actual == entries[start]
                                 : std::find(matches.begin(), matches.end(), actual) != matches.end(),
                 Quoted(actual.c_str()), "{} at {} after SetValue({}) while {} is selected", name,
                 matches.empty() ? "the same entry" : Quoted(matches.front().c_str()), Quoted(text.c_str()),
                 Quoted(entries[start].c_str()));
    }
  }
}

struct Flag {
  const char* name;
  void (ISetting::*set)(unsigned int value);
  unsigned int (ISetting::*get)() const;
};
constexpr std::array kFlags{
    Flag{"IsOptional", &ISetting::SetIsOptional, &ISetting::GetIsOptional},
    Flag{"IsOptionalValueSpecified", &ISetting::SetIsOptionalValueSpecified, &ISetting::GetIsOptionalValueSpecified},
    Flag{"IsActive", &ISetting::SetIsActive, &ISetting::GetIsActive}};
constexpr std::size_t kIsActive = 2;
using FlagValues = std::array<unsigned int, kFlags.size()>;

FlagValues FlagsOf(const ISetting& setting) {
  FlagValues values{};
  std::transform(kFlags.begin(), kFlags.end(), values.begin(),
                 [&setting](const Flag& flag) { return (setting.*flag.get)(); });
  return values;
}

/// The state but for the flags, and for "value", which is null while an optional value is not specified: "text" has it.
SettingState StateWithoutFlags(const NamedSetting& named) {
  SettingState state = StateOf(named);
  for (const char* const key : {"optional", "specified", "active", "value"}) {
    state.erase(key);
  }
  return state;
}

/// Flags are kept as given, and setting one changes nothing else of the setting.
void CheckFlagsOf(const NamedSetting& named) {
  // The last one shows whether all bits are kept.
  constexpr std::array kValues{0U, 1U, 0x80000006U};
  ISetting& setting = *named.setting;
  const std::string name = DisplayName(named);
  const SettingState state = StateWithoutFlags(named);
  // Some kinds are always active: setting the flag does nothing there.
  setting.SetIsActive(0);
  const bool isAlwaysActive = setting.GetIsActive() == 1;
  FlagValues expected = FlagsOf(setting);
  const auto set = [&](std::size_t index, unsigned int value) {
    const Flag& flag = kFlags[index];
    (setting.*flag.set)(value);
    expected[index] = index == kIsActive && isAlwaysActive ? 1 : value;
    const FlagValues actual = FlagsOf(setting);
    for (std::size_t other = 0; other < kFlags.size(); ++other) {
      ExpectEqual(expected[other], actual[other], "Get{} of {} after Set{}({})", kFlags[other].name, name, flag.name,
                  value);
    }
  };
  for (std::size_t combination = 0; combination < kValues.size() * kValues.size() * kValues.size(); ++combination) {
    const FlagValues start{kValues[combination % kValues.size()],
                           kValues[combination / kValues.size() % kValues.size()],
                           kValues[combination / kValues.size() / kValues.size()]};
    for (std::size_t index = 0; index < kFlags.size(); ++index) {
      set(index, start[index]);
    }
    ExpectSameState(state, StateWithoutFlags(named),
                    fmt::format("SetIsOptional({}), SetIsOptionalValueSpecified({}) and SetIsActive({})", start[0],
                                start[1], start[2]));
    // Each flag alone, in this state of the others.
    for (std::size_t index = 0; index < kFlags.size(); ++index) {
      for (const unsigned int value : kValues) {
        set(index, value);
      }
      set(index, start[index]);
    }
  }
}

/// Texts are kept as given.
void CheckTextsOf(ISetting& setting, const std::string& name) {
  // Short ones, bytes beyond ASCII, and one that is too long for a small buffer.
  for (const std::string& given : {std::string("Text"), std::string("Caf\xC3\xA9 \"\n"), std::string(10000, 'x')}) {
    std::string optional = given + " 1";
    std::string toolTip = given + " 2";
    setting.SetOptionalText(optional.c_str());
    setting.SetToolTipText(toolTip.c_str());
    // A setting that kept the pointers would now show these.
    optional.assign(optional.size(), '?');
    toolTip.assign(toolTip.size(), '?');
    const char* const optionalText = setting.GetOptionalText();
    const char* const toolTipText = setting.GetToolTipText();
    ExpectThat(optionalText == given + " 1", Shortened(Quoted(optionalText)), "optional text of {} as set: {} 1", name,
               Shortened(given));
    ExpectThat(toolTipText == given + " 2", Shortened(Quoted(toolTipText)), "tool tip of {} as set: {} 2", name,
               Shortened(given));
    for (const char* const none : {static_cast<const char*>(nullptr), ""}) {
      setting.SetOptionalText("before");
      setting.SetToolTipText("before");
      setting.SetOptionalText(none);
      setting.SetToolTipText(none);
      for (const char* const text : {setting.GetOptionalText(), setting.GetToolTipText()}) {
        ExpectThat(text != nullptr && *text == '\0', Quoted(text),
                   "optional text and tool tip of {} empty after they have been set to {}", name, Quoted(none));
      }
    }
  }
}

/// Hands the values of `source` to `target` the way presets do.
void Transfer(IAudioCompressor& source, IAudioCompressor& target) {
  std::vector<Assignment> assignments;
  const std::vector<NamedSetting> targets = ValueSettingsOf(target);
  for (const NamedSetting& named : ValueSettingsOf(source)) {
    if (ISetting* const setting = FindSetting(targets, named.name)) {
      assignments.push_back({.setting = setting,
                             .value = ParseJsonValue(*setting, ValueJson(*named.setting)),
                             .isFromPreset = true,
                             .source = '"' + named.name + "\": "});
    }
  }
  Assign(target, assignments);
}

/// Values are accepted whether or not the setting is active or specified: both flags are for the host's dialog.
void TakesAllowed(IAudioCompressor& compressor) {
  for (const NamedSetting& named : SettingsOf(compressor)) {
    VisitSetting(*named.setting, AllowedCheck{DisplayName(named)});
    named.setting->SetIsActive(0);
    VisitSetting(*named.setting, AllowedCheck{DisplayName(named) + ", which is not active,"});
    named.setting->SetIsActive(1);
    named.setting->SetIsOptional(1);
    named.setting->SetIsOptionalValueSpecified(0);
    VisitSetting(*named.setting, AllowedCheck{DisplayName(named) + ", an optional value that is not specified,"});
  }
}

/// Values that are not allowed follow the rules of NotAllowedCheck.
void IgnoresOthers(IAudioCompressor& compressor) {
  bool applies = false;
  for (const NamedSetting& named : SettingsOf(compressor)) {
    applies = VisitSetting(*named.setting, NotAllowedCheck{DisplayName(named)}) || applies;
  }
  if (!applies) {
    throw CheckSkipped{"every setting takes every value"};
  }
}

/// Every enumeration selects by text as IEnumSetting documents it, and ignores null.
void MatchesTexts(IAudioCompressor& compressor) {
  bool applies = false;
  for (const NamedSetting& named : SettingsOf(compressor)) {
    if (named.setting->GetType() == kSettingTypeEnum) {
      auto& setting = static_cast<IEnumSetting&>(*named.setting);
      CheckMatches(setting, DisplayName(named));
      const std::string before = setting.GetValue();
      ExpectEqual(-1, setting.FindIndexOf(nullptr), "FindIndexOf(null) of {}", DisplayName(named));
      setting.SetValue(static_cast<const char*>(nullptr));
      ExpectValue(setting, DisplayName(named), before, "SetValue(null)");
      applies = true;
    }
  }
  if (!applies) {
    throw CheckSkipped{"no setting is an enumeration"};
  }
}

/// Every setting keeps its flags and texts, and the other settings do not change with them.
void KeepsFlags(IAudioCompressor& compressor) {
  const std::vector<NamedSetting> settings = ValueSettingsOf(compressor);
  for (const NamedSetting& named : settings) {
    std::vector<NamedSetting> others = settings;
    std::erase_if(others, [&named](const NamedSetting& other) { return other.setting == named.setting; });
    const std::vector<SettingState> before = StatesOf(others);
    CheckFlagsOf(named);
    CheckTextsOf(*named.setting, DisplayName(named));
    ExpectSameStates(before, StatesOf(others), "setting flags and texts of " + DisplayName(named));
  }
}

/// A preset of each combination gives a new compressor the same settings.
void GoesIntoPresets(const CheckedModule& module) {
  constexpr unsigned int kRandomOnes = 20;
  const CompressorOwner source = module.CreateCompressor();
  for (const Combination& combination : CombinationsOf(*source, kRandomOnes)) {
    combination.ApplyTo(*source);
    const CompressorOwner target = module.CreateCompressor();
    const std::string preset = fmt::format("a preset of {}{}", combination.name, SeedText());
    try {
      Transfer(*source, *target);
    } catch (const WrongUse& refusal) {
      throw CheckFailed{preset + " to be taken by another compressor", refusal.what()};
    }
    ExpectSameStates(StatesOf(ValueSettingsOf(*source)), StatesOf(ValueSettingsOf(*target)), preset);
  }
}

}  // namespace

std::span<const Check> SettingChangeChecks() {
  static constexpr auto kChecks = std::to_array<Check>({
      {"settings.allowed", "What the user chooses among the choices offered has to be what is encoded.",
       OnCompressor<TakesAllowed>, kHasSettings},
      {"settings.not-allowed", "Hosts try values and read back to learn whether they are taken.",
       OnCompressor<IgnoresOthers>, kHasSettings},
      {"settings.matching", "Presets and command lines spell entries in other letter case, or shortened.",
       OnCompressor<MatchesTexts>, kHasSettings},
      {"settings.flags", "Check boxes that lose their state or change the value behind them mislead the user.",
       OnCompressor<KeepsFlags>, kHasSettings},
      {"settings.presets", "A preset that does not restore the settings it was made of is of no use.",
       OnModule<GoesIntoPresets>, kHasSettings},
  });
  return kChecks;
}
