// benchmark-calls [options of Google Benchmark]: makes the calls that are measured. Run by itself
// it takes their times; valgrind's callgrind writes what it counts in each call under the
// benchmark's name. The hosts are installed in the current folder.
#include "benchmarks/Benchmarks.h"

#include <benchmark/benchmark.h>
#include <valgrind/callgrind.h>

#include <chrono>
#include <exception>
#include <iostream>

namespace benchmarks {

void add(const std::string& what, const std::string& who,
         const std::function<std::function<void()>()>& prepare) {
  const std::string name = what + "|" + who;
  const auto measure = [name, prepare](benchmark::State& state) {
    for ([[maybe_unused]] auto round : state) {
      const std::function<void()> call = prepare();
      const auto begin = std::chrono::steady_clock::now();
      CALLGRIND_ZERO_STATS;
      call();
      CALLGRIND_DUMP_STATS_AT(name.c_str());
      const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
      state.SetIterationTime(time.count());
    }
  };
  // What is done once in a process is in the first call's count, so the second one's is read.
  benchmark::RegisterBenchmark(name.c_str(), measure)
      ->UseManualTime()
      ->Iterations(RUNNING_ON_VALGRIND != 0 ? 2 : 20);
}

}  // namespace benchmarks

// The add-in's own part is measured; the shell is not run.
int system(const char* /*command*/) {
  return 0;
}

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  try {
    benchmarks::addHandles();
    benchmarks::addMoments();
    benchmark::RunSpecifiedBenchmarks();
  } catch (const std::exception& error) {
    std::cerr << "benchmark-calls: " << error.what() << ".\n";
    return 1;
  }
  return 0;
}
