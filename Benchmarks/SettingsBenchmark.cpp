// What settings cost with 10 to 100,000 allowable values.

#include "Benchmarks/Ratios.h"
#include "RHOAPI/RhoapiSettings.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr unsigned int kSizes[] = {10, 100, 1000, 10000, 100000};

/// `count` numbers and texts, in ascending or in random order. The pointers lead to the texts.
struct Values {
  Values(unsigned int count, bool areShuffled) {
    for (unsigned int index = 0; index < count; ++index) {
      numbers.push_back(index);
    }
    if (areShuffled) {
      std::shuffle(numbers.begin(), numbers.end(), std::minstd_rand());
    }
    for (const unsigned int number : numbers) {
      texts.push_back("value " + std::to_string(number));
    }
    for (const std::string& text : texts) {
      pointers.push_back(text.c_str());
    }
  }

  unsigned int Count() const { return static_cast<unsigned int>(numbers.size()); }

  std::vector<unsigned int> numbers;
  std::vector<std::string> texts;
  std::vector<const char*> pointers;
};

/// A setting with these values. The first argument, always null, chooses the kind.
UnsignedIntSetting Build(const UnsignedIntSetting* /*kind*/, Values& values) {
  UnsignedIntSetting setting("", "", 0, 0, 0, 0, nullptr);
  for (const unsigned int number : values.numbers) {
    setting.AddAllowableValue(number);
  }
  setting.SetIsValueConstrained(1);
  setting.FindIndexOf(0);  // puts the values in order
  return setting;
}

EnumSetting Build(const EnumSetting* /*kind*/, Values& values) {
  return {"", "", values.pointers.back(), values.Count(), values.pointers.data()};
}

StringEnumSetting Build(const StringEnumSetting* /*kind*/, Values& values) {
  StringEnumSetting setting("", "");
  for (unsigned int index = 0; index < values.Count(); ++index) {
    setting.AddValue(values.pointers[index], static_cast<int>(index));
  }
  return setting;
}

/// A number that depends on the value, so that the compiler keeps the reading of it.
unsigned int Sum(unsigned int number) { return number; }
unsigned int Sum(const char* text) { return static_cast<unsigned char>(text[0]); }

/// The value that was added last, for each kind.
unsigned int Last(const UnsignedIntSetting* /*kind*/, const Values& values) { return values.numbers.back(); }
const char* Last(const ISetting* /*kind*/, const Values& values) { return values.pointers.back(); }

/// Registers a side "ours" without others: the figures are compared between sizes.
template <class Action>
void Register(const std::string& work, unsigned int count, Action action) {
  RegisterWork("settings, " + work + ' ' + std::to_string(count) + "/ours", action);
}

/// Registers the works of one kind of setting for each number of values.
template <class Setting>
void RegisterAll(const std::string& name) {
  constexpr const Setting* kKind = nullptr;
  for (const unsigned int count : kSizes) {
    const auto values = std::make_shared<Values>(count, false);
    const auto setting = std::make_shared<Setting>(Build(kKind, *values));
    Register(name + " build", count, [=] { return Build(kKind, *values).GetNumberOfAllowableValues(); });
    const auto shuffled = std::make_shared<Values>(count, true);
    Register(name + " build, shuffled", count, [=] { return Build(kKind, *shuffled).GetNumberOfAllowableValues(); });
    Register(name + " copy", count, [=] { return std::unique_ptr<ISetting>(setting->CreateCopy()) != nullptr; });
    Register(name + " show", count, [=] {
      unsigned int sum = 0;
      for (unsigned int index = 0; index < setting->GetNumberOfAllowableValues(); ++index) {
        sum += Sum(setting->GetAllowableValue(index));
      }
      return sum;
    });
    Register(name + " find the last", count, [=] { return setting->FindIndexOf(Last(kKind, *values)); });
    Register(name + " set to the last", count, [=] {
      setting->SetValue(Last(kKind, *values));
      return Sum(setting->GetValue());
    });
  }
}

}  // namespace

int main(int argc, char** argv) {
  RegisterAll<UnsignedIntSetting>("numbers:");
  RegisterAll<EnumSetting>("texts:");
  RegisterAll<StringEnumSetting>("pairs:");
  return RunAndPrintRatios(argc, argv);
}
