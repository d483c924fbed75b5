// The commands of a scenario: one table, from which the reader, the runner, the help and the
// completion take what they need.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace substitute {

class ScenarioRunner;

using Arguments = std::vector<std::string>;

// How a line is divided into arguments.
struct ArgumentForm {
  std::size_t least = 0;
  std::size_t most = 0;
  // The one argument is all of the line after the space behind the name, spaces included.
  bool isRestOfLine = false;
};

// One entry of the table.
struct CommandEntry {
  const char* name;
  const char* usage;  // the arguments, for the help; those in brackets may be left out
  const char* help;   // what the command does
  ArgumentForm form;

  // Carries the command out. `arguments` have been checked.
  void (*play)(ScenarioRunner& runner, const Arguments& arguments);

  // Throws ScenarioError, with one sentence, when an argument is wrong. Their number is right. Null
  // when any will do.
  void (*check)(const Arguments& arguments) = nullptr;

  // The words that can stand among the arguments, for completion. Null when none is known.
  std::vector<std::string> (*words)() = nullptr;

  // Only prints: the line is not repeated above, nothing has changed afterwards.
  bool isQuery = false;
};

// In the order of the help.
const std::vector<CommandEntry>& commands();

// Null when there is no command of that name.
const CommandEntry* findCommand(const std::string& name);

}  // namespace substitute
