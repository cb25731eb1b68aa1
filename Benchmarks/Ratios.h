#pragma once

/// The program of a benchmark whose results are ratios. A benchmark is named "work/side": one side of each work is
/// "ours", the others are what it is compared with. A work whose cost is measured at several sizes ends in the size, as
/// in "walk 2000". scripts/bench runs the programs and compares the ratios with their goals.

#include <benchmark/benchmark.h>

#include <string>

/// Registers the benchmark `name`, which measures `action`: a function without arguments that returns a value.
template <class Action>
benchmark::internal::Benchmark* RegisterWork(const std::string& name, Action action) {
  return benchmark::RegisterBenchmark(name.c_str(), [action](benchmark::State& state) mutable {
    for (auto _ : state) {
      benchmark::DoNotOptimize(action());
      benchmark::ClobberMemory();
    }
  });
}

/// Runs the registered benchmarks under Google Benchmark's command line. Unless they are printed as JSON or CSV, prints
/// for each work how many times as long as each other side ours took, in processor time and on the fastest of the
/// repetitions of either. Returns what main returns.
///
/// For figures that a busy machine disturbs little:
///   --benchmark_repetitions=10 --benchmark_enable_random_interleaving=true --benchmark_min_time=0.02
int RunAndPrintRatios(int argc, char** argv);
