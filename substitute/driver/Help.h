// Help and completion where somebody types commands.
#pragma once

#include <string>
#include <vector>

#include "substitute/api/Host.h"

namespace substitute {

// A word that is understood there besides the commands of a scenario.
struct PromptWord {
  const char* name;
  const char* usage;
  const char* help;
};

// What `help` is in every such place.
inline constexpr PromptWord helpWord = {"help", "[COMMAND]", "list the commands, or tell of one"};

// What a command does stands beside its usage, or below it, where there is little room.
enum class HelpLayout { columns, narrow };

// The list of all commands, for people.
std::string commandList(HelpLayout layout = HelpLayout::columns);

// The lines that `help NAME` tells, `words` being understood as well; of everything when `name` is
// empty. Of a command also what its first argument can be, with the ids that exist in `host`.
// Throws ScenarioError when there is no such command or word.
std::string help(const std::string& name, const std::vector<PromptWord>& words, const Host& host,
                 HelpLayout layout = HelpLayout::columns);

// The words that can stand at the end of `typed`, as completions() finds them, `words` included.
std::vector<std::string> completionsAtPrompt(const std::string& typed, const Host& host,
                                             const std::vector<PromptWord>& words);

}  // namespace substitute
