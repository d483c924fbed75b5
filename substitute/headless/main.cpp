// substitute-host: the substitute host in a terminal.
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <optional>
#include <set>
#include <sstream>
#include <utility>

#include "substitute/driver/CommandLine.h"
#include "substitute/driver/Commands.h"
#include "substitute/driver/Errors.h"
#include "substitute/driver/HostSession.h"
#include "substitute/driver/Scenario.h"
#include "substitute/driver/Supervisor.h"
#include "substitute/driver/Text.h"
#include "substitute/driver/TraceFiles.h"
#include "substitute/headless/JUnit.h"
#include "substitute/headless/Prompt.h"
#include "substitute/headless/ShellErrors.h"
#include "substitute/headless/Sweep.h"

namespace {

using namespace substitute;

using Commands = std::vector<Command>;

struct HeadlessOptions : CommandLine {
  std::vector<std::string> scenarios;
  std::string junit;
  unsigned jobs = 1;
  bool sweep = false;
  std::set<std::string> allowed;
};

constexpr const char* program = "substitute-host";
constexpr unsigned sweepTimeout = 10;  // in seconds, where --timeout is left out
constexpr unsigned mostJobs = 300;     // each has three files open, of the 1024 that are usual

// Plays each line of standard input as it arrives. Throws UsageError for a wrong line. For the
// add-in and the programs that it starts standard input is empty. Nothing is read ahead: a copy of
// this process would give it back when it exits.
void playInput(ScenarioRunner& runner) {
  const int input = dup(STDIN_FILENO);
  fcntl(input, F_SETFD, FD_CLOEXEC);
  dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
  ScenarioReader reader("standard input");
  std::string line;
  char byte = 0;
  ssize_t got = 0;
  while ((got = read(input, &byte, 1)) > 0) {
    if (byte != '\n') {
      line += byte;
    } else {
      runner.play(reader.read(std::exchange(line, "")));
    }
  }
  if (got < 0) throw std::runtime_error("standard input cannot be read");
  if (!line.empty()) runner.play(reader.read(line));
}

// Plays `commands`, the scenario of the name `scenario`. When that is "-", plays standard input;
// when it is empty, runs the prompt. An exception is printed, and is the end.
ScenarioEnd play(const HeadlessOptions& values, const std::string& scenario,
                 const Commands& commands) {
  try {
    HostSession session(values, scenario);
    std::optional<ShellErrors> shellErrors;
    if (!values.systemOpen) shellErrors.emplace(session.runner());
    std::vector<Operation> calls;
    const auto callBegins = session.host().interceptor().callBegins.subscribe(
        [&calls](const Operation& call) { calls.push_back(call); });
    if (scenario.empty()) {
      runPrompt(session.runner());
    } else if (scenario == "-") {
      playInput(session.runner());
    } else {
      for (const Command& command : commands) session.runner().play(command);
    }
    const bool passed = session.conclude();
    flushOutput();
    return {passed ? EXIT_SUCCESS : exit_status::failed, session.runner().firstFailure(),
            values.sweep ? describeRun(calls, session.runner().findings()) : Json()};
  } catch (const std::exception&) {
    FatalError error = printException(program);
    return {error.status, std::move(error.sentence)};
  }
}

std::string indentedLines(const std::string& output) {
  std::string result;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) result += "    " + line + '\n';
  return result;
}

// Prints the result of one of several scenarios.
void printResult(const ScenarioResult& result) {
  if (result.passed()) {
    std::cout << "passed: " << result.name << std::endl;
    return;
  }
  std::cout << "failed: " << result.name << ": " << printable(result.reason) << '\n'
            << indentedLines(result.output) << indentedLines(result.errors) << std::flush;
}

// Plays the scenarios; one without a name is the prompt. The exit status of this process, unless a
// signal ends it.
int playAll(const HeadlessOptions& values, const std::vector<Commands>& all) {
  ResultsFile results(values.junit);
  std::vector<ScenarioTask> tasks;
  for (std::size_t i = 0; i < all.size(); ++i) {
    const std::string& name = values.scenarios[i];
    tasks.push_back({name, [&, i] { return play(values, name, all[i]); }});
  }
  const bool isAlone = tasks.size() == 1;
  Supervision how{program, values.timeout, values.jobs};
  how.captures = !isAlone || !values.junit.empty();
  how.readsInput = values.scenarios[0].empty() || values.scenarios[0] == "-";
  how.endsPrograms = !values.systemOpen;  // the user goes on with what the system has opened
  std::size_t passed = 0;
  ScenarioResult last;
  const int cutOffBy = supervise(tasks, how, [&](const ScenarioResult& result) {
    if (result.passed()) ++passed;
    if (isAlone) {
      std::cout << result.output << std::flush;
      std::cerr << result.errors;
    } else {
      printResult(result);
    }
    results.add(result);
    last = result;
  });
  if (cutOffBy != 0) endBySignal(cutOffBy);
  if (isAlone) {
    flushOutput();
    if (last.signal != 0) endBySignal(last.signal);
    return last.status;
  }
  std::cout << passed << " passed, " << tasks.size() - passed << " failed\n";
  flushOutput();
  return passed == tasks.size() ? EXIT_SUCCESS : exit_status::failed;
}

// Sweeps each scenario. The exit status of this process, unless a signal ends it.
int sweepAll(const HeadlessOptions& values, const std::vector<Commands>& all) {
  ResultsFile results(values.junit);
  bool passed = true;
  for (std::size_t i = 0; i < all.size(); ++i) {
    const std::string& name = values.scenarios[i];
    const auto playWith = [&](const PlannedFault* fault) {
      Commands commands = all[i];
      if (fault != nullptr)
        commands.insert(commands.begin(), parseCommand("fail " + inWords(*fault)));
      return play(values, name, commands);
    };
    Supervision how{program, values.timeout == 0 ? sweepTimeout : values.timeout, values.jobs};
    const SweepEnd end = run({name, playWith, how, values.allowed},
                             [&](const ScenarioResult& result) { results.add(result); });
    if (end.cutOffBy != 0) endBySignal(end.cutOffBy);
    passed = passed && end.passed;
  }
  flushOutput();
  return passed ? EXIT_SUCCESS : exit_status::failed;
}

// Throws UsageError for an option that goes with one scenario only.
void checkOptionsForSeveral(const HeadlessOptions& values) {
  for (const auto& [option, value] :
       {std::pair("--data", &values.data), std::pair("--trace", &values.trace),
        std::pair("--expect-trace", &values.expectedTrace)}) {
    if (!value->empty()) {
      throw UsageError(std::string(option) + (values.sweep ? " does not go with --sweep"
                                                           : " goes with one scenario only"));
    }
  }
  for (const std::string& scenario : values.scenarios) {
    if (scenario == "-") throw UsageError("standard input is played alone, and once");
  }
}

int playAsTyped(HeadlessOptions& values) {
  if (values.scenarios.empty() && values.sweep) throw UsageError("--sweep wants a scenario");
  if (!values.allowed.empty() && !values.sweep) throw UsageError("--allow goes with --sweep only");
  if (values.scenarios.empty()) {
    const bool isTyped = hasPrompt && isatty(STDIN_FILENO) == 1;
    if (isTyped && !values.junit.empty()) throw UsageError("--junit goes with scenarios only");
    values.scenarios = {isTyped ? "" : "-"};
  }
  if (values.sweep || values.scenarios.size() > 1) checkOptionsForSeveral(values);
  std::vector<Commands> all;
  std::vector<std::string> files = {values.addin, values.trace, values.expectedTrace};
  for (const std::string& scenario : values.scenarios) {
    if (scenario.empty() || scenario == "-") {
      char none = 0;
      if (read(STDIN_FILENO, &none, 0) < 0) {
        throw std::runtime_error("standard input cannot be read");
      }
      all.emplace_back();
    } else {
      all.push_back(readScenario(scenario));
      files.push_back(scenarioFile(scenario));
    }
  }
  checkOutput("--junit", values.junit, files);
  return values.sweep ? sweepAll(values, all) : playAll(values, all);
}

}  // namespace

int main(int argc, char** argv) {
  HeadlessOptions values;
  const auto takeOutcome = [&values](const std::string& value) {
    values.allowed.insert(value);
    return allowedOutcomes.count(value) != 0 ? ""
                                             : "'" + value + "' is not signal, timeout or leftover";
  };
  const Program description = {
      program,
      "Plays scenarios with the add-in in a host made for it. At a terminal without a scenario, "
      "plays the commands that you type.",
      {{"--junit", "FILE", &values.junit, "write the results of the scenarios there"},
       {"-j", "N", takeNumber(values.jobs, "scenarios", mostJobs),
        "play up to N scenarios at a time; 1 if left out"},
       {"--sweep", "", &values.sweep,
        "play the scenario once for its calls, then once for each call and each way to fail; "
        "--timeout is 10 if left out"},
       {"--allow", "OUTCOMES", takeOutcome,
        "what --sweep accepts: signal, timeout, leftover, separated by commas", true},
       {"SCENARIO", "", &values.scenarios,
        "what to play: files, names (first-starts), or - for standard input", true}},
      commandList()};
  if (const auto status = readCommandLine(description, values, argc, argv)) return *status;
  try {
    return playAsTyped(values);
  } catch (const std::exception&) {
    return printException(program).status;
  }
}
