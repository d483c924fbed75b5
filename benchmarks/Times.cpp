// benchmark-times ROUNDS [options of Google Benchmark]: how long the measured calls take, each
// beside its reference. A call that needs a host of its own is made ROUNDS times.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <spawn.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "benchmarks/HandleOperations.h"
#include "benchmarks/Situations.h"

namespace {

using namespace benchmarks;
using benchmark::RegisterBenchmark;
using benchmark::State;

// Host objects to hold, and handles to them: one pointer each, with a counted reference.
struct Held {
  Installation installation;
  Session session{installation, false};
  adsk::core::Palette* one = nullptr;
  adsk::core::Palette* other = nullptr;
  adsk::core::Palette* made = nullptr;
  adsk::core::ToolbarControl* control = nullptr;

  Held() {
    const auto ui = adsk::core::Application::get()->userInterface();
    for (const char* const id : {"one", "other"}) {
      session.host().plant(substitute::ObjectKind::palette, id);
    }
    one = ui->palettes()->itemById_raw("one");
    other = ui->palettes()->itemById_raw("other");
    made = ui->palettes()->itemById_raw("one");
    control = ui->toolbars()->itemById("QATRight")->controls()->itemById_raw("HelpGroupCommand");
  }
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;
  ~Held() {
    one->release();
    other->release();
    made->release();
    control->release();
  }
};

// Where an operation takes a reference or drops one, the loop does the opposite by hand.
void registerHandles() {
  using Operation = void (*)(const HandleOperations&, Held&);
  const std::vector<std::pair<const char*, Operation>> operations = {
      {"attach and destroy",
       [](const HandleOperations& handle, Held& held) {
         held.one->addref();
         handle.attachAndDestroy(held.one);
       }},
      {"copy",
       [](const HandleOperations& handle, Held& held) {
         adsk::core::Palette* copy = nullptr;
         handle.copy(&held.one, &copy);
         copy->release();
       }},
      {"assign another",
       [](const HandleOperations& handle, Held& held) {
         handle.assign(&held.made, held.made == held.one ? &held.other : &held.one);
       }},
      {"assign itself",
       [](const HandleOperations& handle, Held& held) { handle.assign(&held.made, &held.made); }},
      {"test", [](const HandleOperations& handle,
                  Held& held) { benchmark::DoNotOptimize(handle.test(&held.one)); }},
      {"arrow", [](const HandleOperations& handle,
                   Held& held) { benchmark::DoNotOptimize(handle.arrow(&held.one)); }},
      {"conversion by query",
       [](const HandleOperations& handle, Held& held) {
         adsk::core::CommandControl* command = nullptr;
         handle.convert(&held.control, &command);
         command->release();
       }},
  };
  for (const auto& [name, operation] : operations) {
    for (const HandleOperations& handle : handleOperations()) {
      RegisterBenchmark((std::string(name) + "|" + handle.kind).c_str(),
                        [operation = operation, &handle](State& state) {
                          Held held;
                          for ([[maybe_unused]] auto round : state) operation(handle, held);
                        });
    }
  }
}

void registerSituations(const std::string& library, int rounds) {
  for (const Situation& situation : situations()) {
    RegisterBenchmark((std::string(situation.name) + "|" + library).c_str(),
                      [&situation, library](State& state) {
                        for ([[maybe_unused]] auto round : state) {
                          const Prepared prepared = prepare(situation, builtLibrary(library));
                          const auto start = std::chrono::steady_clock::now();
                          prepared.call();
                          const std::chrono::duration<double> time =
                              std::chrono::steady_clock::now() - start;
                          state.SetIterationTime(time.count());
                        }
                      })
        ->UseManualTime()
        ->Iterations(rounds);
  }
}

// Replaces the second line of `file` by the system's own editor.
void editBySed(const std::string& file) {
  const char* const words[] = {"sed", "-i", "2s/.*/5/", file.c_str(), nullptr};
  const char* const environment[] = {"LC_ALL=C", nullptr};
  pid_t process = 0;
  int status = posix_spawnp(&process, "sed", nullptr, nullptr, const_cast<char* const*>(words),
                            const_cast<char* const*>(environment));
  if (status == 0) waitpid(process, &status, 0);
  if (status != 0) {
    std::cerr << "benchmark-times: sed did not edit " << file << ".\n";
    std::exit(1);
  }
}

// Reads all lines and keeps none.
void readByGetline(const std::string& file) {
  std::ifstream input(file);
  std::string line;
  std::size_t lines = 0;
  while (std::getline(input, line)) ++lines;
  benchmark::DoNotOptimize(lines);
}

void registerUpdates() {
  for (std::size_t lines = 2; lines <= 1'000'000; lines = lines == 2 ? 10 : 10 * lines) {
    const std::string name = "update of " + std::to_string(lines) + " lines|";
    for (const char* const library : {"Velorin.so", "ByHand.so"}) {
      RegisterBenchmark((name + library).c_str(), [lines, library](State& state) {
        const Installation installation(memoryFolder());
        installation.writeInfoFile(lines, 4, updateWidth);
        Session session(installation, false);
        session.load(builtLibrary(library));
        for ([[maybe_unused]] auto round : state) session.autoOpenPalette();
      });
    }
    const auto registerEdit = [&](const char* kind, void (*edit)(const std::string&)) {
      RegisterBenchmark((name + kind).c_str(), [lines, edit](State& state) {
        const Installation installation(memoryFolder());
        installation.writeInfoFile(lines, 4, updateWidth);
        for ([[maybe_unused]] auto round : state) edit(installation.infoFile());
      })->UseRealTime();
    };
    registerEdit("getline", readByGetline);
    registerEdit("sed -i", editBySed);
  }
}

void registerLoading() {
  for (const char* const library : {"Velorin.so", "Empty.so"}) {
    RegisterBenchmark(("load and unload|" + std::string(library)).c_str(), [library](State& state) {
      const std::string file = builtLibrary(library);
      for ([[maybe_unused]] auto round : state) {
        dlclose(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL));
      }
    });
  }
}

void registerMessages() {
  constexpr std::size_t bytes = 100;
  RegisterBenchmark("message of 100 bytes|Velorin.so", [](State& state) {
    const Installation installation;
    installation.writeInfoFile(2, 2, 0);
    Session session(installation, false, true);
    session.load(builtLibrary("Velorin.so"));
    session.run(nullptr);
    const auto message = session.message(std::string(bytes, 'x'));
    for ([[maybe_unused]] auto round : state) message();
  })->UseRealTime();
  RegisterBenchmark("message of 100 bytes|system", [](State& state) {
    const Installation installation;
    const Session session(installation, false, true);  // its `open` is the one that is run
    const std::string command = "open " + std::string(bytes - 2, 'x');
    for ([[maybe_unused]] auto round : state) {
      benchmark::DoNotOptimize(std::system(command.c_str()));
    }
  })->UseRealTime();
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::atoi(argv[1]) : 0;
  if (rounds < 1) {
    std::cerr << "usage: benchmark-times ROUNDS [options of Google Benchmark]\n";
    return 2;
  }
  argv[1] = argv[0];
  int rest = argc - 1;
  benchmark::Initialize(&rest, argv + 1);
  if (benchmark::ReportUnrecognizedArguments(rest, argv + 1)) return 2;
  registerHandles();
  registerSituations("Velorin.so", rounds);
  registerSituations("ByHand.so", rounds);
  registerUpdates();
  registerLoading();
  registerMessages();
  try {
    benchmark::RunSpecifiedBenchmarks();
  } catch (const std::exception& error) {
    std::cerr << "benchmark-times: " << error.what() << ".\n";
    return 1;
  }
  return 0;
}
