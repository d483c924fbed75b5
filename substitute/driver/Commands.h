// The table of the commands of a scenario, and the help and completion that prompts make of it.
#pragma once

#include <string>
#include <vector>

namespace substitute {

class Host;
class ScenarioRunner;

using Arguments = std::vector<std::string>;

// One entry of the table.
struct CommandEntry {
  std::string name;
  // The arguments, a word each; those in brackets may be left out. Where the last one is [DATA],
  // [TEXT] or JSON it is the rest of the line, after one space.
  std::string usage;
  std::string help;  // what the command does

  // Carries out the command. `arguments` have been checked.
  void (*play)(ScenarioRunner& runner, const Arguments& arguments);

  // Throws UsageError, with one sentence, when an argument is wrong; their number is right.
  // Null: every argument is right.
  void (*check)(const Arguments& arguments) = nullptr;

  // The command only prints. It is not echoed, and no changes are reported.
  bool isQuery = false;
};

// In the order of the help.
const std::vector<CommandEntry>& commands();

// Null when there is no command of that name.
const CommandEntry* findCommand(const std::string& name);

// A word that a prompt understands besides the commands of a scenario.
struct PromptWord {
  const char* name;
  const char* usage;
  const char* help;
};

// The word `help`, which every prompt understands.
inline constexpr PromptWord helpWord = {"help", "[COMMAND]", "list the commands, or tell of one"};

// Whether the description of a command is beside its usage, or below it in a narrow panel.
enum class HelpLayout { columns, narrow };

// The list of all commands, for people.
std::string commandList(HelpLayout layout = HelpLayout::columns);

// The output of `help NAME`, for commands and `words`; for all of them when `name` is empty. For
// one command it also lists the candidates for the first argument, such as the ids in `host`.
// Throws UsageError when there is no such command or word.
std::string help(const std::string& name, const std::vector<PromptWord>& words, const Host& host,
                 HelpLayout layout = HelpLayout::columns);

// The candidates for the last word of the line `typed`, which may be incomplete: they begin with
// it. `words` are candidates for the first word. None where any word is possible.
std::vector<std::string> completionsAtPrompt(const std::string& typed, const Host& host,
                                             const std::vector<PromptWord>& words);

}  // namespace substitute
