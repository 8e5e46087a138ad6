// Runs small measurements in turns, many times, and keeps the least time of each: what else the
// machine does meanwhile only ever adds.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace korvani::bench {

class Minima final : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
      const double time = run.GetAdjustedCPUTime();
      const auto [least, isFirst] = nanoseconds_.emplace(run.run_name.function_name, time);
      if (!isFirst) least->second = std::min(least->second, time);
    }
  }
  /// Nanoseconds of processor time, by the name of the measurement.
  const std::map<std::string, double>& nanoseconds() const { return nanoseconds_; }

 private:
  std::map<std::string, double> nanoseconds_;
};

/// Measures the work, whose result is kept from being left out; once beforehand it is not measured.
template <typename Work>
void measure(const std::string& name, Work work) {
  benchmark::RegisterBenchmark(name.c_str(), [work](benchmark::State& state) mutable {
    benchmark::DoNotOptimize(work());
    for ([[maybe_unused]] auto round : state) benchmark::DoNotOptimize(work());
  });
}

inline std::map<std::string, double> runMeasurements() {
  std::vector<std::string> arguments{"bench", "--benchmark_repetitions=20",
                                     "--benchmark_min_time=0.01",
                                     "--benchmark_enable_random_interleaving=true"};
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  int count = static_cast<int>(pointers.size());
  benchmark::Initialize(&count, pointers.data());
  Minima minima;
  const std::size_t ran = benchmark::RunSpecifiedBenchmarks(&minima);
  if (ran == 0 || minima.nanoseconds().size() != ran) {
    throw std::runtime_error("a measurement failed");
  }
  return minima.nanoseconds();
}

}  // namespace korvani::bench
