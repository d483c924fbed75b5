// The table of the commands of a scenario. The reader, the runner, the help and the completion use
// it.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace substitute {

class Host;
class ScenarioRunner;

using Arguments = std::vector<std::string>;

// One entry of the table.
struct CommandEntry {
  std::string name;
  // The arguments, a word each; those in brackets may be left out. Where the last one is DATA, TEXT
  // or JSON it is the rest of the line, after one space.
  std::string usage;
  std::string help;  // what the command does

  // Carries out the command. `arguments` have been checked.
  void (*play)(ScenarioRunner& runner, const Arguments& arguments);

  // Throws ScenarioError, with one sentence, when an argument is wrong; their number is right.
  // Null: every argument is right.
  void (*check)(const Arguments& arguments) = nullptr;

  // The command only prints. It is not echoed, and no changes are reported.
  bool isQuery = false;
};

// In the order of the help.
const std::vector<CommandEntry>& commands();

// Null when there is no command of that name.
const CommandEntry* findCommand(const std::string& name);

// The candidates for the argument of `command` after `before`; none where any word is possible.
std::vector<std::string> candidates(const CommandEntry& command, const Host& host,
                                    const Arguments& before);

// The number of a user language; empty when `word` is not a decimal 32-bit number. notALanguage()
// returns the error message for that case.
std::optional<int> parseLanguage(const std::string& word);
std::string notALanguage(const std::string& word);

}  // namespace substitute
