// The table of the commands of a scenario. The reader, the runner, the help and the completion use
// it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace substitute {

class Host;
class ScenarioRunner;

using Arguments = std::vector<std::string>;

// How a line is split into arguments.
struct ArgumentForm {
  std::size_t least = 0;
  std::size_t most = 0;
  // The last argument is the rest of the line, spaces included. It begins after one space that
  // follows the name, or follows the first `wordsBeforeRest` words after the name.
  bool isRestOfLine = false;
  std::size_t wordsBeforeRest = 0;
};

// One entry of the table.
struct CommandEntry {
  std::string name;
  std::string usage;  // the arguments, for the help; those in brackets may be left out
  std::string help;   // what the command does
  ArgumentForm form;

  // Carries out the command. `arguments` have been checked.
  void (*play)(ScenarioRunner& runner, const Arguments& arguments);

  // Throws ScenarioError, with one sentence, when an argument is wrong; their number is right.
  // Null: every argument is right.
  void (*check)(const Arguments& arguments) = nullptr;

  // The candidates for the argument after `before`, for completion. Null when none is known.
  std::vector<std::string> (*words)(const Host& host, const Arguments& before) = nullptr;

  // The command only prints. It is not echoed, and no changes are reported.
  bool isQuery = false;
};

// In the order of the help.
const std::vector<CommandEntry>& commands();

// Null when there is no command of that name.
const CommandEntry* findCommand(const std::string& name);

// The number of a user language; empty when `word` is not a decimal 32-bit number. notALanguage()
// returns the error message for that case.
std::optional<int> parseLanguage(const std::string& word);
std::string notALanguage(const std::string& word);

// The candidates for the last word of the line `typed`, which may be incomplete: they begin with
// it. None where any word is possible.
std::vector<std::string> completions(const std::string& typed, const Host& host);

}  // namespace substitute
