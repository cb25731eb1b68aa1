// The text functions beside those of well-known libraries, the lenient match beside an exact one, and the allocations
// of the time codes.

#include "Benchmarks/Allocations.h"
#include "Benchmarks/Ratios.h"
#include "RHOAPI/RhoapiSettings/EnumTexts.h"
#include "Toolbox/KelUtils/Media/TimeCodes.h"
#include "Toolbox/KelUtils/Text/Text.h"
#include "Toolbox/KelUtils/Text/TextEncoding.h"
#include "Toolbox/KelUtils/Text/Tokens.h"

#include <absl/strings/escaping.h>
#include <absl/strings/str_replace.h>
#include <absl/strings/str_split.h>
#include <benchmark/benchmark.h>
#include <boost/algorithm/string/replace.hpp>
#include <boost/algorithm/string/split.hpp>

#include <cstddef>
#include <list>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::size_t kKiB = 1024;
constexpr std::size_t kMiB = kKiB * kKiB;

/// `unit` repeated and cut to `size` bytes.
std::string Repeat(std::string_view unit, std::size_t size) {
  std::string text;
  while (text.size() < size) {
    text += unit;
  }
  text.resize(size);
  return text;
}

/// Words of two to eight random letters, the same in each process, cut to `size` bytes.
std::string Words(std::size_t size) {
  std::mt19937 random(1);
  std::string text;
  while (text.size() < size) {
    for (auto letters = 2 + random() % 7; letters > 0; --letters) {
      text += static_cast<char>('a' + random() % 26);
    }
    text += ' ';
  }
  text.resize(size);
  return text;
}

/// A case of replacing: `what` by `with` in `text`.
struct Replacement {
  std::string name, text, what, with;
};

void RegisterReplace() {
  std::vector<Replacement> replacements{
      {"frequent", Repeat("some text, ab and more ", kMiB), "ab", "xy"},
      {"growing", Repeat("some text, ab and more ", kMiB), "ab", "a longer text"},
      {"rare", Repeat(std::string(kMiB / 16 - 1, 'x') + "q", kMiB), "q", "zz"},
      {"rare word", Repeat(Words(kMiB / 16) + "another", kMiB), "another", "one"},
      {"absent", Words(kMiB), "another", "one"},
      {"absent first byte", Words(kMiB), "#", "one"},
      {"dense 64 KiB", Repeat("a", kMiB / 16), "a", "b"},
      {"dense growing 64 KiB", Repeat("a", kMiB / 16), "a", "bb"},
      {"dense pairs 64 KiB", Repeat("ab", kMiB / 16), "ab", "b"},
      // Worst cases of naive searches: nearly every position begins like the text that is searched for.
      {"adverse 64 KiB", Repeat("a", kMiB / 16), std::string(31, 'a') + "b", "b"},
      {"adverse middle 64 KiB", Repeat("a", kMiB / 16), std::string(15, 'a') + "b" + std::string(15, 'a'), "b"},
  };
  for (const std::size_t size : std::initializer_list<std::size_t>{1000, 10'000, 100'000, 1'000'000}) {
    replacements.push_back({std::to_string(size), Repeat("some text, ab and more ", size), "ab", "a longer text"});
  }
  for (const Replacement& r : replacements) {
    const std::string work = "replace " + r.name;
    RegisterWork(work + "/ours", [r] { return KelReplace(r.text, r.what, r.with); });
    RegisterWork(work + "/absl", [r] { return absl::StrReplaceAll(r.text, {{r.what, r.with}}); });
    RegisterWork(work + "/boost", [r] { return boost::replace_all_copy(r.text, r.what, r.with); });
  }
}

void RegisterTokenize() {
  for (const std::size_t size : std::initializer_list<std::size_t>{std::size_t(60), std::size_t(100000)}) {
    const std::string text = Words(size);
    const std::vector<std::string> tokens = absl::StrSplit(text, ' ', absl::SkipEmpty());
    const std::string work = "tokenize " + std::to_string(size);
    RegisterWork(work + "/ours", [text] {
      std::list<std::string> out;
      KelTokenize(out, text, ' ', '"', false);
      return out;
    });
    RegisterWork(work + "/building the list",
                 [tokens] { return std::list<std::string>(tokens.begin(), tokens.end()); });
    RegisterWork(work + "/absl",
                 [text] { return std::list<std::string>(absl::StrSplit(text, ' ', absl::SkipEmpty())); });
    RegisterWork(work + "/boost", [text] {
      std::list<std::string> out;
      boost::split(
          out, text, [](char c) { return c == ' ' || c == '"'; }, boost::token_compress_on);
      return out;
    });
  }
}

void RegisterEncode() {
  for (const std::size_t size :
       std::initializer_list<std::size_t>{std::size_t(1), std::size_t(16), std::size_t(100), kKiB, 64 * kKiB, kMiB}) {
    const std::string bytes = Words(size);
    const std::vector<unsigned char> data(bytes.begin(), bytes.end());
    const std::string work = "encode " + std::to_string(size);
    RegisterWork(work + "/ours", [data] {
      std::string out;
      KelEncodeBase64(data, out);
      return out;
    });
    RegisterWork(work + "/absl", [bytes] { return absl::Base64Escape(bytes); });
  }
}

/// FindLeniently beside FindExactly, which is its floor.
void RegisterMatch() {
  TEnumTexts names;
  for (const char* name : {"Mono", "Stereo", "5.1", "6.1", "7.1"}) {
    names.Append(name, 0);
  }
  for (const char* text : {"Mono", "Stereo", "7.1", "STEREO", "st", "Stereo Wide", "Quadraphonic"}) {
    const std::string work = std::string("match ") + text;
    RegisterWork(work + "/ours", [names, text] { return names.FindLeniently(text); });
    RegisterWork(work + "/exact scan", [names, text] { return names.FindExactly(text); });
  }
}

/// Registers `action` with the number of allocations per call as a counter.
template <class Action>
void RegisterCounting(const char* name, Action action) {
  benchmark::RegisterBenchmark(name, [action](benchmark::State& state) {
    const long before = AllocationCount();
    for (auto _ : state) {
      benchmark::DoNotOptimize(action());
    }
    state.counters["allocations"] =
        benchmark::Counter(static_cast<double>(AllocationCount() - before), benchmark::Counter::kAvgIterations);
  });
}

void RegisterTimeCodes() {
  RegisterCounting("time code from text", [] { return KelStringToTimeCode("10:20:30;12", true); });
  RegisterCounting("time code to text",
                   [code = KelStringToTimeCode("10:20:30;12", true)] { return KelTimeCodeToString(code, true); });
}

}  // namespace

int main(int argc, char** argv) {
  RegisterReplace();
  RegisterTokenize();
  RegisterEncode();
  RegisterMatch();
  RegisterTimeCodes();
  return RunAndPrintRatios(argc, argv);
}
