#pragma once

/// The program of a benchmark whose results are ratios. A benchmark is named "work/side": one side of each work is
/// "ours", the others are what it is compared with.

/// Runs the registered benchmarks under Google Benchmark's command line, and prints for each work how many times as
/// long as each other side ours took, in processor time and on the fastest of the repetitions of either. Returns what
/// main returns.
///
/// For figures that a busy machine disturbs little:
///   --benchmark_repetitions=10 --benchmark_enable_random_interleaving=true --benchmark_min_time=0.02
int RunAndPrintRatios(int argc, char** argv);
