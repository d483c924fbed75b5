// Help and completion at a prompt: the terminal's, or the command line of the window.
#pragma once

#include <string>
#include <vector>

#include "substitute/api/Host.h"

namespace substitute {

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
// Throws ScenarioError when there is no such command or word.
std::string help(const std::string& name, const std::vector<PromptWord>& words, const Host& host,
                 HelpLayout layout = HelpLayout::columns);

// The candidates for the last word of the line `typed`, which may be incomplete: they begin with
// it. `words` are candidates for the first word. None where any word is possible.
std::vector<std::string> completionsAtPrompt(const std::string& typed, const Host& host,
                                             const std::vector<PromptWord>& words);

}  // namespace substitute
