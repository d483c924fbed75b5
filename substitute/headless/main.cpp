// substitute-host: plays the add-in's life in a terminal.
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <optional>
#include <sstream>

#include "substitute/driver/CommandLine.h"
#include "substitute/driver/Files.h"
#include "substitute/driver/OpenRecorder.h"
#include "substitute/driver/ScenarioRunner.h"

// Without the line editor there is no prompt: a terminal is then like any other input.
#if __has_include(<editline/readline.h>)
#define HAS_LINE_EDITOR 1
#include <editline/readline.h>
#else
#define HAS_LINE_EDITOR 0
#endif

namespace {

using namespace substitute;

constexpr int cannotLoad = 1;
constexpr int wrongInput = 2;

// A sentence on standard error, begun with the program's name and ended with a full stop.
void complain(const std::string& sentence) {
  std::cerr << "substitute-host: " << sentence << (sentence.back() == '.' ? "\n" : ".\n");
}

std::string commandList() {
  std::ostringstream list;
  list << "Commands of a scenario, one a line; # starts a comment line:\n";
  for (const CommandEntry& command : commands()) {
    const std::string usage = std::string(command.name) + " " + command.usage;
    list << "  " << usage << std::string(usage.size() < 34 ? 34 - usage.size() : 1, ' ')
         << command.help << '\n';
  }
  return list.str();
}

#if HAS_LINE_EDITOR
// The words that can stand where the prompt's line editor asks: commands first, then what the
// command takes.
std::vector<std::string> candidates(const std::string& typed) {
  std::istringstream words(typed);
  std::string first;
  words >> first;
  if (typed.find(' ') == std::string::npos) {
    std::vector<std::string> names = {"help", "quit"};
    for (const CommandEntry& command : commands()) names.push_back(command.name);
    return names;
  }
  const CommandEntry* const command = findCommand(first);
  return command != nullptr && command->words != nullptr ? command->words()
                                                         : std::vector<std::string>();
}

char* nextCandidate(const char* prefix, int state) {
  static std::vector<std::string> names;
  static std::size_t next;
  if (state == 0) {
    names = candidates(std::string(rl_line_buffer, static_cast<std::size_t>(rl_point)));
    next = 0;
  }
  while (next < names.size()) {
    const std::string& name = names[next++];
    if (name.rfind(prefix, 0) == 0) return strdup(name.c_str());
  }
  return nullptr;
}

char** complete(const char* word, int /*begin*/, int /*end*/) {
  rl_attempted_completion_over = 1;  // never file names
  return rl_completion_matches(word, nextCandidate);
}

void prompt(ScenarioRunner& runner) {
  runner.echo = false;
  rl_readline_name = const_cast<char*>("substitute-host");
  rl_attempted_completion_function = complete;
  // Typed letters are more than ASCII; without a locale for them the line editor drops them.
  if (std::string(setlocale(LC_CTYPE, "")) == "C") setlocale(LC_CTYPE, "C.UTF-8");
  using_history();
  std::cout << "The substitute host. 'help' lists the commands, 'quit' ends.\n";
  while (char* const typed = readline("host> ")) {
    const std::string line = typed;
    std::free(typed);
    std::string word;
    std::istringstream(line) >> word;
    if (word == "quit") return;
    if (word == "help") {
      std::cout << commandList();
      continue;
    }
    if (line.empty()) continue;
    add_history(line.c_str());
    try {
      runner.play(parseCommand(line));
    } catch (const ScenarioError& error) {
      complain(error.what());
    }
  }
  std::cout << '\n';
}
#else
void prompt(ScenarioRunner& /*player*/) {}
#endif

int play(CommandLine& values) {
  const bool interactive =
      HAS_LINE_EDITOR != 0 && values.scenario.empty() && isatty(STDIN_FILENO) == 1;
  if (values.scenario.empty()) values.scenario = "first-starts";
  const std::vector<Command> commands =
      interactive ? std::vector<Command>() : readScenario(values.scenario);
  Host host(settingsFor(values));
  std::optional<OpenRecorder> recorder;
  if (!values.systemOpen) recorder.emplace(host);
  { const AddIn known(values.addin); }  // what cannot be loaded is told before anything is done
  std::optional<TraceFile> trace;
  if (!values.trace.empty()) trace.emplace(values.trace);
  installAddinFolder(values, host);
  if (trace) trace->begin(host);
  ScenarioRunner runner(host, values.addin, std::cout);
  if (interactive) {
    prompt(runner);
  } else {
    for (const Command& command : commands) runner.play(command);
  }
  if (trace && !trace->good()) throw std::runtime_error("the trace could not be written in full");
  if (!std::cout.flush()) throw std::runtime_error("the output could not be written in full");
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  CommandLine values;
  CLI::App parser(
      "Plays the life of the add-in in a host made for it: a scenario, or, at a terminal,"
      " what you type.",
      "substitute-host");
  parser.set_version_flag("--version", "substitute-host " VELORIN_VERSION);
  parser.footer(commandList());
  addOptions(parser, values);
  parser
      .add_option("SCENARIO", values.scenario,
                  "what to play: a file, a name (first-starts), or - for standard input")
      ->option_text(" ")
      ->check(refuseEmpty);
  try {
    parser.parse(argc, argv);
  } catch (const CLI::Success& done) {
    return parser.exit(done);
  } catch (const CLI::ParseError& error) {
    complain(error.what());
    return wrongInput;
  }
  try {
    return play(values);
  } catch (const LoadError& error) {
    complain(error.what());
    return cannotLoad;
  } catch (const std::exception& error) {
    complain(error.what());
    return wrongInput;
  }
}
