#include "Benchmarks/Ratios.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace {

/// Prints the usual lines, keeps the fastest run of each side, and prints the ratios at the end.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  RatioReporter() : ConsoleReporter(OO_None) {}

  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      // Without the aggregates (mean, median) of repetitions.
      if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
        Take(run.run_name.function_name, run.cpu_accumulated_time / static_cast<double>(run.iterations));
      }
    }
  }

  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\n%-34s %12s   times as long as\n", "work", "ours (ns)");
    for (const auto& [work, sides] : m_seconds) {
      const auto ours = sides.find("ours");
      if (ours == sides.end()) {
        continue;
      }
      std::printf("%-34s %12.1f", work.c_str(), ours->second * 1e9);
      for (const auto& [side, seconds] : sides) {
        if (side != ours->first) {
          std::printf("   %s %.2f", side.c_str(), ours->second / seconds);
        }
      }
      std::printf("\n");
    }
  }

 private:
  /// Keeps the time of "work/side" if it is the shortest so far. Ignores names without a slash.
  void Take(const std::string& name, double seconds) {
    const std::size_t slash = name.rfind('/');
    if (slash == std::string::npos) {
      return;
    }
    const auto [fastest, isFirst] = m_seconds[name.substr(0, slash)].emplace(name.substr(slash + 1), seconds);
    if (!isFirst) {
      fastest->second = std::min(fastest->second, seconds);
    }
  }

  std::map<std::string, std::map<std::string, double>> m_seconds;  // by work, then by side
};

}  // namespace

int RunAndPrintRatios(int argc, char** argv) {
  const bool isForMachine = std::any_of(argv, argv + argc, [](std::string_view argument) {
    return argument == "--benchmark_format=json" || argument == "--benchmark_format=csv";
  });
  // Removes the arguments that it knows, hence the look at the format before.
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  if (isForMachine) {
    benchmark::RunSpecifiedBenchmarks();
    return 0;
  }
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return 0;
}
