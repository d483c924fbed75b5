// substitute-host: plays the add-in's life in a terminal.
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <optional>

#include "substitute/driver/CommandLine.h"
#include "substitute/driver/CrashReport.h"
#include "substitute/driver/ExitStatus.h"
#include "substitute/driver/Files.h"
#include "substitute/driver/JUnit.h"
#include "substitute/driver/OpenRecorder.h"
#include "substitute/driver/ScenarioProcess.h"
#include "substitute/driver/ScenarioRunner.h"
#include "substitute/headless/Prompt.h"

namespace {

using namespace substitute;

using Commands = std::vector<Command>;

struct HeadlessLine : CommandLine {
  std::vector<std::string> scenarios;
  std::string junit;
  char** arguments = nullptr;  // those of the program
};

// A sentence on standard error, begun with the program's name and ended with a full stop.
void complain(const std::string& sentence) {
  std::cerr << "substitute-host: " << sentence << (sentence.back() == '.' ? "\n" : ".\n");
}

// Plays `commands`, or without them what is typed at the prompt. The result is the exit status.
int play(HeadlessLine& values, const Commands* commands) {
  Host host(settingsFor(values, values.arguments));
  const CrashReport crashReport(host, "substitute-host", values.addin, values.timeout);
  std::optional<OpenRecorder> recorder;
  if (!values.systemOpen) recorder.emplace(host);
  { const AddIn known(values.addin); }  // what cannot be loaded is told before anything is done
  std::optional<ExpectedTrace> expected;
  if (!values.expectedTrace.empty()) expected.emplace(values.expectedTrace);
  std::optional<TraceFile> trace;
  if (!values.trace.empty()) trace.emplace(values.trace);
  installAddinFolder(values, host);
  if (trace) trace->begin(host);
  if (expected) expected->begin(host);
  ScenarioRunner runner(host, values.addin, std::cout);
  if (commands == nullptr) {
    runPrompt(runner);
  } else {
    for (const Command& command : *commands) runner.play(command);
  }
  // What was typed is judged where that was asked for.
  bool passed = true;
  if (commands != nullptr || values.strict || expected) {
    passed = runner.conclude(values.strict, expected ? &*expected : nullptr);
  }
  if (trace && !trace->good()) throw std::runtime_error("the trace could not be written in full");
  if (!std::cout.flush()) throw std::runtime_error("the output could not be written in full");
  return passed ? EXIT_SUCCESS : exit_status::failed;
}

// The same; what keeps it from being played is told.
int playOrComplain(HeadlessLine& values, const Commands* commands) {
  try {
    return play(values, commands);
  } catch (const LoadError& error) {
    complain(error.what());
    return exit_status::cannotLoad;
  } catch (const std::exception& error) {
    complain(error.what());
    return exit_status::wrongInput;
  }
}

void writeResults(const std::string& path, const std::vector<ScenarioResult>& results) {
  std::ofstream file(path, std::ios::binary);
  file << toJUnit(results);
  if (!file.flush()) throw std::runtime_error("the results cannot be written to " + path);
}

// Ends this process as `status` of another one says.
int endAs(int status) {
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  std::raise(WTERMSIG(status));
  return exit_status::failed;
}

// One scenario, in a process of its own for the sake of its result.
int playForResult(HeadlessLine& values, const Commands& commands) {
  writeResults(values.junit, {});  // a place that cannot be written is told before
  const ScenarioResult result =
      playInProcess(values.scenarios[0], [&] { return playOrComplain(values, &commands); });
  std::cout << result.output << std::flush;
  std::cerr << result.errors;
  writeResults(values.junit, {result});
  return endAs(result.status);
}

std::string belowItsLine(const std::string& text) {
  std::string result;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) result += "    " + line + '\n';
  return result;
}

// Several scenarios, each in a host and a process of its own: a line each, then the totals.
int playAll(HeadlessLine& values, const std::vector<Commands>& all) {
  if (!values.junit.empty()) writeResults(values.junit, {});
  std::vector<ScenarioResult> results;
  std::size_t passed = 0;
  for (std::size_t i = 0; i < all.size(); ++i) {
    results.push_back(
        playInProcess(values.scenarios[i], [&] { return playOrComplain(values, &all[i]); }));
    const ScenarioResult& result = results.back();
    if (result.passed()) {
      ++passed;
      std::cout << "passed: " << result.name << std::endl;
    } else {
      std::cout << "failed: " << result.name << ": " << result.reason() << '\n'
                << belowItsLine(result.output) << belowItsLine(result.errors) << std::flush;
    }
  }
  std::cout << passed << " passed, " << results.size() - passed << " failed\n";
  if (!values.junit.empty()) writeResults(values.junit, results);
  if (!std::cout.flush()) throw std::runtime_error("the output could not be written in full");
  return passed == results.size() ? EXIT_SUCCESS : exit_status::failed;
}

// What cannot be with several scenarios. Throws std::runtime_error.
void checkOptionsForSeveral(const HeadlessLine& values) {
  for (const auto& [option, value] :
       {std::pair("--data", &values.data), std::pair("--trace", &values.trace),
        std::pair("--expect-trace", &values.expectedTrace)}) {
    if (!value->empty()) {
      throw std::runtime_error(std::string(option) + " goes with one scenario only");
    }
  }
  for (const std::string& scenario : values.scenarios) {
    if (scenario == "-") throw std::runtime_error("standard input is played alone");
  }
}

int playAsTyped(HeadlessLine& values) {
  if (hasPrompt && values.scenarios.empty() && isatty(STDIN_FILENO) == 1) {
    if (!values.junit.empty()) throw std::runtime_error("--junit goes with scenarios only");
    return playOrComplain(values, nullptr);
  }
  if (values.scenarios.empty()) values.scenarios = {"first-starts"};
  if (values.scenarios.size() > 1) checkOptionsForSeveral(values);
  std::vector<Commands> all;
  for (const std::string& scenario : values.scenarios) all.push_back(readScenario(scenario));
  if (all.size() > 1) return playAll(values, all);
  return values.junit.empty() ? playOrComplain(values, &all[0]) : playForResult(values, all[0]);
}

}  // namespace

int main(int argc, char** argv) {
  HeadlessLine values;
  values.arguments = argv;
  CLI::App parser(
      "Plays the life of the add-in in a host made for it: a scenario, or, at a terminal,"
      " what you type.",
      "substitute-host");
  parser.set_version_flag("--version", "substitute-host " VELORIN_VERSION);
  parser.footer(commandList());
  addOptions(parser, values);
  parser.add_option("--junit", values.junit, "write the results of the scenarios there")
      ->type_name("FILE")
      ->check(refuseEmpty);
  parser
      .add_option("SCENARIO", values.scenarios,
                  "what to play: files, names (first-starts), or - for standard input")
      ->option_text(" ")
      ->check(refuseEmpty);
  try {
    parser.parse(argc, argv);
  } catch (const CLI::Success& done) {
    return parser.exit(done);
  } catch (const CLI::ParseError& error) {
    complain(error.what());
    return exit_status::wrongInput;
  }
  try {
    return playAsTyped(values);
  } catch (const std::exception& error) {
    complain(error.what());
    return exit_status::wrongInput;
  }
}
