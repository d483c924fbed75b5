// benchmark-times [options of Google Benchmark]: how long the measured calls take, each beside its
// reference. A benchmark's name is what is measured and who does it, with a bar between them.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <spawn.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

#include "benchmarks/Moments.h"

namespace {

using namespace benchmarks;
using benchmark::RegisterBenchmark;
using benchmark::State;

std::unique_ptr<substitute::AddIn> load(const std::string& library) {
  return std::make_unique<substitute::AddIn>(builtLibrary(library));
}

void loadAndUnload(State& state, const std::string& library) {
  const std::string file = builtLibrary(library);
  for ([[maybe_unused]] auto round : state) {
    void* const loaded = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (loaded == nullptr) throw std::runtime_error(dlerror());
    dlclose(loaded);
  }
}

// Each call needs a host of its own; only the call is timed.
void callAt(State& state, const Moment& moment, const std::string& library) {
  for ([[maybe_unused]] auto round : state) {
    const auto session = prepare(moment, load(library));
    const auto begin = std::chrono::steady_clock::now();
    moment.call(*session);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    state.SetIterationTime(time.count());
  }
}

constexpr int startsBefore = 4;
constexpr std::size_t lineWidth = 10;

void update(State& state, std::size_t lines) {
  Installation::writeInfoFile(startsBefore, lines, lineWidth);
  const Session session(load("Velorin.so"), false);
  auto* const autoOpenPalette =
      reinterpret_cast<int (*)()>(session.addin->symbol("_Z15AutoOpenPalettev"));
  if (autoOpenPalette == nullptr) throw std::runtime_error("there is no AutoOpenPalette");
  for ([[maybe_unused]] auto round : state) autoOpenPalette();
}

// The same by the system's own editor.
void updateBySed(State& state, std::size_t lines) {
  Installation::writeInfoFile(startsBefore, lines, lineWidth);
  const std::string file = Installation::infoFile();
  const char* const words[] = {"sed", "-i", "2s/.*/5/", file.c_str(), nullptr};
  const char* const environment[] = {"LC_ALL=C", nullptr};
  for ([[maybe_unused]] auto round : state) {
    pid_t process = 0;
    int status = posix_spawnp(&process, "sed", nullptr, nullptr, const_cast<char* const*>(words),
                              const_cast<char* const*>(environment));
    if (status == 0) waitpid(process, &status, 0);
    if (status != 0) throw std::runtime_error("sed did not edit the file");
  }
}

void registerAll() {
  for (const std::string library : {"Velorin.so", "Empty.so"}) {
    RegisterBenchmark(("load and unload|" + library).c_str(), loadAndUnload, library);
  }
  for (const Moment& moment : moments()) {
    for (const std::string library : {"Velorin.so", "ByHand.so"}) {
      RegisterBenchmark((moment.name + ("|" + library)).c_str(), callAt, moment, library)
          ->UseManualTime()
          ->Iterations(20);
    }
  }
  for (std::size_t lines = 2; lines <= 1'000'000; lines = lines == 2 ? 10 : 10 * lines) {
    const std::string name = "update of " + std::to_string(lines) + " lines|";
    RegisterBenchmark((name + "Velorin.so").c_str(), update, lines)->UseRealTime();
    RegisterBenchmark((name + "sed -i").c_str(), updateBySed, lines)->UseRealTime();
  }
}

}  // namespace

// The time before the shell is taken; the shell is not run.
int system(const char* /*command*/) {
  return 0;
}

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  try {
    const Installation installation;
    registerAll();
    benchmark::RunSpecifiedBenchmarks();
  } catch (const std::exception& error) {
    std::cerr << "benchmark-times: " << error.what() << ".\n";
    return 1;
  }
  return 0;
}
