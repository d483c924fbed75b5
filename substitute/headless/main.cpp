// substitute-host: the substitute host in a terminal.
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <optional>
#include <sstream>

#include "substitute/driver/CommandLine.h"
#include "substitute/driver/ExitStatus.h"
#include "substitute/driver/Files.h"
#include "substitute/driver/Help.h"
#include "substitute/driver/HostSession.h"
#include "substitute/driver/JUnit.h"
#include "substitute/driver/ScenarioProcess.h"
#include "substitute/driver/UsageError.h"
#include "substitute/headless/Prompt.h"

namespace {

using namespace substitute;

using Commands = std::vector<Command>;

struct HeadlessOptions : CommandLine {
  std::vector<std::string> scenarios;
  std::string junit;
  std::vector<std::string> arguments;  // as typed, the program's name included
};

constexpr const char* program = "substitute-host";

void flushOutput() {
  if (!std::cout.flush()) throw std::runtime_error("the output could not be written in full");
}

// Plays each line of standard input as it arrives. Throws ScenarioError for a wrong line.
void playInput(ScenarioRunner& runner) {
  ScenarioReader reader("standard input");
  for (std::string line; std::getline(std::cin, line);) runner.play(reader.read(line));
  if (std::ferror(stdin) != 0) throw std::runtime_error("standard input cannot be read");
}

// Plays `commands`, the scenario of the name `scenario`. When that is "-", plays standard input;
// when it is empty, runs the prompt.
ScenarioEnd play(const HeadlessOptions& values, const std::string& scenario,
                 const Commands& commands) {
  HostSession session(values, program,
                      scenario.empty() ? std::vector<std::string>() : std::vector{scenario},
                      values.arguments);
  if (scenario.empty()) {
    runPrompt(session.runner());
  } else if (scenario == "-") {
    playInput(session.runner());
  } else {
    for (const Command& command : commands) session.runner().play(command);
  }
  const bool passed = session.conclude();
  flushOutput();
  return {passed ? EXIT_SUCCESS : exit_status::failed, session.runner().firstFailure()};
}

// As play(), but prints an exception and returns it as the outcome.
ScenarioEnd playAndReport(const HeadlessOptions& values, const std::string& scenario,
                          const Commands& commands) {
  try {
    return play(values, scenario, commands);
  } catch (const std::exception&) {
    FatalError error = currentError();
    printError(program, error.sentence);
    return {error.status, std::move(error.sentence)};
  }
}

void writeResults(const std::string& path, const std::vector<ScenarioResult>& results) {
  std::ofstream file(path, std::ios::binary);
  file << toJUnit(results);
  if (!file.flush()) throw UsageError("the results cannot be written to " + path, "--junit");
}

// Ends this process by the signal that ended the process of `result`, or returns its exit status.
int endAs(const ScenarioResult& result) {
  if (WIFSIGNALED(result.status)) std::raise(WTERMSIG(result.status));
  if (WIFEXITED(result.status) && WEXITSTATUS(result.status) != 0) {
    return WEXITSTATUS(result.status);
  }
  if (result.passed()) return EXIT_SUCCESS;
  printError(program, result.reason());
  return exit_status::failed;
}

std::string indentedLines(const std::string& output) {
  std::string result;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) result += "    " + line + '\n';
  return result;
}

// The arguments for a process that plays `scenario` alone with the same options.
std::vector<std::string> argumentsFor(const CLI::App& parser, const std::string& scenario) {
  std::vector<std::string> words = {program};
  for (const CLI::Option* const option : parser.get_options()) {
    if (option->get_name().rfind("--", 0) != 0 || option->get_name() == "--junit") continue;
    for (const std::string& value : option->results()) {
      const bool isFlag = option->get_expected_min() == 0;
      words.push_back(isFlag ? option->get_name() : option->get_name() + "=" + value);
    }
  }
  words.push_back(scenario);
  return words;
}

// Plays one scenario, in a process of its own, and writes its result.
int playForResult(const CLI::App& parser, HeadlessOptions& values, const Commands& commands) {
  writeResults(values.junit, {});  // throws now when the file cannot be written
  const std::string scenario = values.scenarios[0];
  values.arguments = argumentsFor(parser, scenario);
  const ScenarioResult result =
      playInProcess(scenario, [&] { return playAndReport(values, scenario, commands); });
  std::cout << result.output;
  std::cerr << result.errors;
  writeResults(values.junit, {result});
  flushOutput();
  return endAs(result);
}

// Plays several scenarios, each in a process of its own. Prints a line for each, then the totals.
int playAll(const CLI::App& parser, HeadlessOptions& values, const std::vector<Commands>& all) {
  if (!values.junit.empty()) writeResults(values.junit, {});
  std::vector<ScenarioResult> results;
  std::size_t passed = 0;
  for (std::size_t i = 0; i < all.size(); ++i) {
    values.arguments = argumentsFor(parser, values.scenarios[i]);
    results.push_back(playInProcess(
        values.scenarios[i], [&] { return playAndReport(values, values.scenarios[i], all[i]); }));
    const ScenarioResult& result = results.back();
    if (result.passed()) {
      ++passed;
      std::cout << "passed: " << result.name << std::endl;
    } else {
      std::cout << "failed: " << result.name << ": " << result.reason() << '\n'
                << indentedLines(result.output) << indentedLines(result.errors) << std::flush;
    }
  }
  std::cout << passed << " passed, " << results.size() - passed << " failed\n";
  if (!values.junit.empty()) writeResults(values.junit, results);
  flushOutput();
  return passed == results.size() ? EXIT_SUCCESS : exit_status::failed;
}

// Throws UsageError for an option that goes with one scenario only.
void checkOptionsForSeveral(const HeadlessOptions& values) {
  for (const auto& [option, value] :
       {std::pair("--data", &values.data), std::pair("--trace", &values.trace),
        std::pair("--expect-trace", &values.expectedTrace)}) {
    if (!value->empty()) {
      throw UsageError(std::string(option) + " goes with one scenario only");
    }
  }
  for (const std::string& scenario : values.scenarios) {
    if (scenario == "-") throw UsageError("standard input is played alone");
  }
}

int playAsTyped(const CLI::App& parser, HeadlessOptions& values) {
  if (hasPrompt && values.scenarios.empty() && isatty(STDIN_FILENO) == 1) {
    if (!values.junit.empty()) throw UsageError("--junit goes with scenarios only");
    return playAndReport(values, "", {}).status;
  }
  if (values.scenarios.empty()) values.scenarios = {"-"};
  if (values.scenarios.size() > 1) checkOptionsForSeveral(values);
  std::vector<Commands> all;
  std::vector<std::string> files = {values.addin};
  for (const std::string& scenario : values.scenarios) {
    if (scenario == "-") {
      checkStandardInput();
      all.emplace_back();
    } else {
      all.push_back(readScenario(scenario));
      files.push_back(scenarioFile(scenario));
    }
  }
  for (const std::string& file : {values.trace, values.expectedTrace}) {
    if (!file.empty()) files.push_back(file);
  }
  checkOutput("--junit", values.junit, files);
  if (all.size() > 1) return playAll(parser, values, all);
  if (!values.junit.empty()) return playForResult(parser, values, all[0]);
  const ScenarioEnd end = playAndReport(values, values.scenarios[0], all[0]);
  passOnEnd(end);
  return end.status;
}

}  // namespace

int main(int argc, char** argv) {
  HeadlessOptions values;
  values.arguments.assign(argv, argv + argc);
  CLI::App parser(
      "Plays scenarios with the add-in in a host made for it. At a terminal without a scenario, "
      "plays the commands that you type.",
      program);
  parser.set_version_flag("--version", "substitute-host " VELORIN_VERSION);
  parser.footer(commandList());
  addOptions(parser, values);
  parser.add_option("--junit", values.junit, "write the results of the scenarios there")
      ->type_name("FILE")
      ->check(checkNotEmpty);
  parser
      .add_option("SCENARIO", values.scenarios,
                  "what to play: files, names (first-starts), or - for standard input")
      ->option_text(" ")
      ->take_all()
      ->check(checkNotEmpty);
  if (const auto status = readCommandLine(parser, values, argc, argv)) return *status;
  try {
    return playAsTyped(parser, values);
  } catch (const std::exception&) {
    return printException(program);
  }
}
