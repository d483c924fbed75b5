// fault-test: the add-in against the model, with and without failing calls.
#include <sys/resource.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "substitute/driver/Scenario.h"
#include "tests/TemporaryFolder.h"
#include "tests/faults/Case.h"
#include "tests/faults/Scenarios.h"

namespace fs = std::filesystem;

namespace {

using namespace faults;
using Lines = std::vector<std::string>;
using MakeCase = std::function<NamedCase(std::size_t)>;

constexpr int differs = 1;
constexpr int wrongInput = 2;
constexpr std::size_t printedInFull = 5;

std::string madeIn(const TemporaryFolder& folder, const std::string& name) {
  std::string path = folder.path() + "/" + name;
  fs::create_directories(path);
  return path;
}

struct Options {
  Tools tools;
  unsigned jobs = 2;
  bool firstOnly = false;
  std::string program;  // how it was called, as far as that concerns every case
};

void print(const Options& options, const Case& one, const Lines& found) {
  for (const std::string& line : found) std::cout << "  " << line << '\n';
  std::cout << "  again: " << options.program << ' ' << arguments(one) << '\n' << std::flush;
}

// The shortest case found that still differs: commands are left out for as long as it does.
Case shrink(Case one, const Tools& tools, const std::string& directory) {
  const auto differsStill = [&](const Case& smaller) {
    return !differences(smaller, tools, directory).empty();
  };
  for (std::size_t chunk = one.scenario.size(); chunk > 0;) {
    bool shorter = false;
    for (std::size_t at = 0; at + chunk <= one.scenario.size();) {
      Case smaller = one;
      const auto begin = smaller.scenario.begin() + static_cast<std::ptrdiff_t>(at);
      smaller.scenario.erase(begin, begin + static_cast<std::ptrdiff_t>(chunk));
      if (differsStill(smaller)) {
        one = smaller;
        shorter = true;
      } else {
        ++at;
      }
    }
    if (!shorter) chunk /= 2;
  }
  Case onOpenDisk = one;
  onOpenDisk.disk = model::Disk::open;
  if (one.disk != onOpenDisk.disk && differsStill(onOpenDisk)) one = onOpenDisk;
  for (const std::optional<std::string>& simpler :
       {std::optional<std::string>(), std::optional<std::string>("16.11.2026\n1\n")}) {
    Case smaller = one;
    smaller.infoFile = simpler;
    if (!model::possible(one.disk, simpler.has_value())) continue;
    if (one.infoFile && differsStill(smaller)) return smaller;
  }
  return one;
}

// Plays `count` cases, several at a time, and prints those that differ, in their order. The exit
// status of the program.
int playAll(const std::string& title, std::size_t count, const MakeCase& make,
            const Options& options, bool shrinks) {
  const TemporaryFolder folder;
  std::atomic<std::size_t> next = 0;
  std::atomic<bool> enough = false;
  std::mutex mutex;
  std::size_t done = 0;
  std::map<std::size_t, std::pair<NamedCase, Lines>> failed;
  std::string trouble;
  const bool progress = isatty(STDERR_FILENO) == 1;

  const auto work = [&](const std::string& directory) {
    try {
      for (std::size_t i = next++; i < count && !enough; i = next++) {
        const NamedCase named = make(i);
        const Lines found = differences(named.one, options.tools, directory);
        const std::lock_guard<std::mutex> lock(mutex);
        ++done;
        if (!found.empty()) failed.emplace(i, std::pair(named, found));
        if (!found.empty() && options.firstOnly) enough = true;
        if (progress && done % 50 == 0) std::cerr << '\r' << done << " of " << count << std::flush;
      }
    } catch (const std::exception& error) {
      const std::lock_guard<std::mutex> lock(mutex);
      trouble = error.what();
      enough = true;
    }
  };
  std::vector<std::thread> workers;
  for (unsigned i = 0; i < options.jobs; ++i) {
    workers.emplace_back(work, madeIn(folder, std::to_string(i)));
  }
  for (std::thread& worker : workers) worker.join();
  if (progress) std::cerr << '\r' << std::string(40, ' ') << '\r';
  if (!trouble.empty()) throw std::runtime_error(trouble);

  std::size_t printed = 0;
  for (const auto& [index, entry] : failed) {
    const auto& [named, found] = entry;
    std::cout << "differs: " << named.name << '\n';
    if (printed++ >= printedInFull) {
      print(options, named.one, {});
    } else if (shrinks) {
      const std::string directory = madeIn(folder, "shrink");
      const Case shortest = shrink(named.one, options.tools, directory);
      print(options, shortest, differences(shortest, options.tools, directory));
    } else {
      print(options, named.one, found);
    }
  }
  std::cout << title << ": " << done << " cases, " << failed.size()
            << (failed.size() == 1 ? " differs" : " differ") << " from the model\n";
  return failed.empty() ? EXIT_SUCCESS : differs;
}

int playList(const std::string& title, const std::vector<NamedCase>& cases,
             const Options& options) {
  return playAll(
      title, cases.size(), [&](std::size_t i) { return cases[i]; }, options, false);
}

int sweep(const Options& options) {
  const std::set<std::string> unreached = unreachedOperations(options.tools);
  for (const std::string& operation : unreached) {
    std::cout << "no scenario reaches " << operation << '\n';
  }
  if (!unreached.empty()) return differs;
  std::vector<NamedCase> cases;
  for (const NamedCase& scenario : scenarios()) {
    for (NamedCase& one : singleFaults(scenario, options.tools)) cases.push_back(std::move(one));
  }
  return playList("every call fails once", cases, options);
}

int playOne(const Case& one, const Options& options) {
  const TemporaryFolder folder;
  const Lines found = differences(one, options.tools, madeIn(folder, "0"));
  if (found.empty()) {
    std::cout << "as the model says\n";
    return EXIT_SUCCESS;
  }
  std::cout << "differs:\n";
  print(options, one, found);
  return differs;
}

int predictOne(const Case& one, const Options& options) {
  const model::Outcome outcome = predict(one, options.tools, "DIR");
  std::cout << "trace:\n";
  for (const model::Json& entry : outcome.trace) std::cout << entry.dump() << '\n';
  std::cout << "state after each command:\n";
  for (const model::Json& state : outcome.states) std::cout << state.dump() << '\n';
  std::cout << (outcome.aborted ? "the process ends by the assertion\n" : "") << "info file: "
            << (outcome.infoFile ? model::Json(*outcome.infoFile).dump() : "absent") << '\n';
  return EXIT_SUCCESS;
}

// The words for --disk, listed below the help as the commands of substitute-host are in its own.
std::string diskList() {
  std::string list = "What --disk of play and predict says of the disk that the info file is on:\n";
  for (const DiskWord& disk : diskWords()) {
    std::string word = disk.word;
    word.resize(26, ' ');
    list += "  " + word + disk.meaning + "\n";
  }
  return list;
}

model::Disk diskOf(const std::string& word) {
  for (const DiskWord& disk : diskWords()) {
    if (word == disk.word) return disk.disk;
  }
  throw std::runtime_error("there is no disk '" + word + "'; fault-test --help lists them");
}

int runProgram(int argc, char** argv) {
  const fs::path beside = fs::read_symlink("/proc/self/exe").parent_path();
  Options options;
  options.program = argv[0];
  options.tools.host = beside / "substitute-host";
  std::size_t count = 1000;
  std::uint64_t seed = 1;
  Case one;
  std::string infoFile;
  std::string disk = "open";

  CLI::App parser(
      "Plays scenarios with the add-in, each in a process of its own, and holds what comes of them"
      " against the model.",
      "fault-test");
  parser.require_subcommand(1);
  parser.fallthrough();
  parser.footer(diskList());
  parser
      .add_option("--addin", options.tools.addin, "the library to load; the built one if left out")
      ->type_name("FILE")
      ->check(CLI::ExistingFile);
  std::string macBuild;
  parser
      .add_option("--macos", macBuild,
                  "play with the host and the library for macOS built in DIR, under emulation")
      ->type_name("DIR")
      ->check(CLI::ExistingDirectory);
  bool withoutAssertions = false;
  parser.add_flag("--without-assertions", withoutAssertions,
                  "the library is one that throws where an empty handle is used");
  parser.add_option("--jobs", options.jobs, "how many cases run at a time; 2 if left out")
      ->check(CLI::Range(1U, 64U));
  parser.add_flag("--first", options.firstOnly, "end with the first case that differs");

  std::function<int()> work;
  parser.add_subcommand("scenarios", "the scenarios of the sweep as they are")->callback([&] {
    work = [&] { return playList("scenarios", scenarios(), options); };
  });
  parser.add_subcommand("sweep", "in each of these scenarios every call fails once, in each way")
      ->callback([&] { work = [&] { return sweep(options); }; });
  const auto withSeed = [&](CLI::App* command) {
    command->add_option("--count", count, "how many; 1000 if left out")
        ->check(CLI::Range(std::size_t{1}, std::size_t{1'000'000'000}));
    command->add_option("--seed", seed, "the first seed; 1 if left out");
    return command;
  };
  withSeed(parser.add_subcommand("pairs", "two calls fail, chosen at random"))->callback([&] {
    work = [&] {
      return playAll(
          "two calls fail, seeds from " + std::to_string(seed), count,
          [&](std::size_t i) { return pairOfFaults(seed + i, options.tools); }, options, false);
    };
  });
  withSeed(parser.add_subcommand("random",
                                 "random scenarios; one that differs is shortened and printed"))
      ->callback([&] {
        work = [&] {
          return playAll(
              "random scenarios, seeds from " + std::to_string(seed), count,
              [&](std::size_t i) { return randomScenario(seed + i); }, options, true);
        };
      });
  const auto withCase = [&](CLI::App* command) {
    command
        ->add_option("--info-file", infoFile, "the info file's bytes before; no file if left out")
        ->type_name("TEXT");
    command->add_option("--disk", disk, "the disk that it is on: one of the words listed below")
        ->type_name("WORD");
    command->footer(diskList());
    command->add_option("COMMAND", one.scenario, "a command of substitute-host each")
        ->required()
        ->option_text("...");
    return command;
  };
  CLI::App* const playCommand =
      withCase(parser.add_subcommand("play",
                                     "one scenario, its commands each as one argument, against the"
                                     " model"));
  playCommand->callback([&] { work = [&] { return playOne(one, options); }; });
  CLI::App* const predictCommand =
      withCase(parser.add_subcommand("predict", "what the model says of a scenario"));
  predictCommand->callback([&] { work = [&] { return predictOne(one, options); }; });

  try {
    parser.parse(argc, argv);
  } catch (const CLI::Success& done) {
    return parser.exit(done);
  } catch (const CLI::ParseError& error) {
    std::cerr << "fault-test: " << error.what() << '\n';
    return wrongInput;
  }
  for (const CLI::App* const command : {playCommand, predictCommand}) {
    if (command->count("--info-file") != 0) one.infoFile = infoFile;
  }
  one.disk = diskOf(disk);
  if (!model::possible(one.disk, one.infoFile.has_value())) {
    throw std::runtime_error("--disk " + disk + (one.infoFile ? " takes no" : " needs an") +
                             " --info-file");
  }
  for (const std::string& command : one.scenario) {
    if (command.find('\n') != std::string::npos) throw std::runtime_error("a command is one line");
    substitute::parseCommand(command);
  }
  fs::path built = beside / (withoutAssertions ? "Velorin-throws.so" : "Velorin.so");
  if (!macBuild.empty()) {
    const fs::path build = fs::absolute(macBuild);
    options.tools.emulator = {"qemu-aarch64", build / "emulation/macos-loader"};
    options.tools.host = build / "substitute-host";
    options.program += " --macos " + macBuild;
    built = build / "Velorin.dylib";
  }
  if (options.tools.addin.empty()) {
    options.tools.addin = built;
  } else {
    options.program += " --addin " + options.tools.addin;
  }
  if (withoutAssertions) {
    options.tools.emptyHandle = model::EmptyHandle::throws;
    options.program += " --without-assertions";
  }
  // Many cases end by an assertion, as they should: nobody wants their memory.
  const rlimit none = {0, 0};
  setrlimit(RLIMIT_CORE, &none);
  return work();
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return runProgram(argc, argv);
  } catch (const std::exception& error) {
    std::cerr << "fault-test: " << error.what() << '\n';
    return wrongInput;
  }
}
