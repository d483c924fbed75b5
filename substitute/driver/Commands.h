// The commands of a scenario, in one table. The reader, the runner, the help and the completion use
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

// How a line is divided into arguments.
struct ArgumentForm {
  std::size_t least = 0;
  std::size_t most = 0;
  // The last argument is all of the line after the one space behind the name, or behind that many
  // words that come first, spaces included.
  bool isRestOfLine = false;
  std::size_t wordsBeforeRest = 0;
};

// One entry of the table.
struct CommandEntry {
  const char* name;
  const char* usage;  // the arguments, for the help; those in brackets may be left out
  const char* help;   // what the command does
  ArgumentForm form;

  // Carries out the command. `arguments` have been checked.
  void (*play)(ScenarioRunner& runner, const Arguments& arguments);

  // Throws ScenarioError, with one sentence, when an argument is wrong; their number is right.
  // Null: every argument is right.
  void (*check)(const Arguments& arguments) = nullptr;

  // The words that can stand behind the arguments `before`, for completion. Null when none is
  // known.
  std::vector<std::string> (*words)(const Host& host, const Arguments& before) = nullptr;

  // The command only prints: it is not printed itself, and no changes are reported.
  bool isQuery = false;
};

// In the order of the help.
const std::vector<CommandEntry>& commands();

// Null when there is no command of that name.
const CommandEntry* findCommand(const std::string& name);

// The number of a user language; nothing when `word` is no decimal 32-bit number. And what is wrong
// with it then.
std::optional<int> parseLanguage(const std::string& word);
std::string notALanguage(const std::string& word);

// The words that can stand at the end of `typed`, a line whose last word may be only begun, as far
// as they begin with it. None where anything can stand.
std::vector<std::string> completions(const std::string& typed, const Host& host);

}  // namespace substitute
