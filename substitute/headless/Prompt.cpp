#include "substitute/headless/Prompt.h"

#if __has_include(<editline/readline.h>)
#include <editline/readline.h>
#define HAS_LINE_EDITOR 1
#else
#define HAS_LINE_EDITOR 0
#endif
#include <langinfo.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "substitute/driver/Calls.h"
#include "substitute/driver/Commands.h"
#include "substitute/driver/Folders.h"
#include "substitute/driver/Text.h"

namespace substitute {

const bool hasPrompt = HAS_LINE_EDITOR != 0;

namespace {

#if HAS_LINE_EDITOR
constexpr int keptLines = 1000;

// What the prompt understands besides the commands of a scenario.
const std::vector<PromptWord> promptWords = {
    helpWord,
    callsWord,
    {"quit", "", "unload the add-in and leave; so do exit and Ctrl-D"},
    {"exit", "", "the same"},
};

const Host* completedHost = nullptr;
// Whether Ctrl-C has dropped the line.
bool dropped = false;

// Makes Ctrl-C a key like any other while a line is typed. A signal that came just before the line
// editor waits for a key would be noticed only at the next key.
void makeControlCAKey() {
  rl_initialize();
  // Line editors differ in the arguments that they pass.
  rl_add_defun(
      "drop-line",
      [](auto...) {
        dropped = true;
        rl_done = 1;
        return 0;
      },
      '\x03');
  // Called for each line, after the line editor has set the terminal up.
  rl_pre_input_hook = [](auto...) { return rl_parse_and_bind("setty -d -intr"); };
}

// Sets the encoding UTF-8, whatever the environment says: with a locale that is not installed, or
// with another encoding, the line editor would lose characters.
void useUtf8() {
  const char* const locale = std::setlocale(LC_CTYPE, "");
  if (locale == nullptr || std::strcmp(nl_langinfo(CODESET), "UTF-8") != 0) {
    std::setlocale(LC_CTYPE, "C.UTF-8");
  }
}

char* nextCandidate(const char* /*prefix*/, int state) {
  static std::vector<std::string> found;
  static std::size_t next;
  if (state == 0) {
    const std::string typed(rl_line_buffer, static_cast<std::size_t>(rl_point));
    found = completionsAtPrompt(typed, *completedHost, promptWords);
    next = 0;
  }
  return next < found.size() ? strdup(found[next++].c_str()) : nullptr;
}

char** complete(const char* word, int /*begin*/, int /*end*/) {
  rl_attempted_completion_over = 1;  // never file names
  return rl_completion_matches(word, nextCandidate);
}

// The file of the history; empty where the user has no folder for it.
std::string historyFile() {
  const std::string folder = userFolder("XDG_STATE_HOME", ".local/state");
  if (folder.empty()) return "";
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  return error ? "" : folder + "/history";
}

// The next line; empty optional at the end of input. After Ctrl-C the line is empty.
std::optional<std::string> readLine() {
  dropped = false;
  char* const typed = readline("host> ");
  if (dropped) {
    std::free(typed);
    std::cout << '\n';
    return "";
  }
  if (typed == nullptr) {
    std::cout << '\n';
    return {};
  }
  std::string line = typed;
  std::free(typed);
  return line;
}

// Prints what `answer` returns, or the error that it throws.
void print(const std::function<std::string()>& answer) {
  try {
    std::cout << answer();
  } catch (const UsageError& error) {
    std::cerr << printable(error.what()) << ".\n";
  }
}

#endif

}  // namespace

#if HAS_LINE_EDITOR
void runPrompt(ScenarioRunner& runner) {
  runner.atPrompt = true;
  completedHost = &runner.host();
  useUtf8();
  rl_readline_name = const_cast<char*>("substitute-host");
  rl_attempted_completion_function = complete;
  rl_catch_signals = 1;
  makeControlCAKey();
  using_history();
  const std::string history = historyFile();
  if (!history.empty()) read_history(history.c_str());
  stifle_history(keptLines);
  std::cout << "'help' lists the commands, 'quit' ends.\n";
  const CallLog calls(runner);
  while (const std::optional<std::string> line = readLine()) {
    std::string word;
    std::string argument;
    std::istringstream(*line) >> word >> argument;
    if (word == "quit" || word == "exit") break;
    if (word.empty()) continue;
    add_history(line->c_str());
    // Written before the command is played, since the command may end the program.
    if (!history.empty()) write_history(history.c_str());
    if (word == helpWord.name) {
      print([&] { return help(argument, promptWords, runner.host()); });
      continue;
    }
    if (word == callsWord.name) {
      print([&] { return calls.linesOf(argument); });
      continue;
    }
    try {
      runner.play(parseCommand(*line));
    } catch (const UsageError& error) {
      const bool isKnown = findCommand(word) != nullptr;
      std::cerr << printable(error.what())
                << (isKnown ? "; 'help " + word + "' tells of it.\n"
                            : "; 'help' lists the commands.\n");
    }
  }
  if (runner.loaded()) runner.unload();
}

#else
void runPrompt(ScenarioRunner& /*runner*/) {}
#endif

}  // namespace substitute
