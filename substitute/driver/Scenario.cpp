#include "substitute/driver/Scenario.h"

#include <algorithm>
#include <istream>
#include <sstream>

namespace substitute {

Command parseCommand(const std::string& line) {
  const char* const spaces = " \t\r";
  const auto begin = line.find_first_not_of(spaces);
  if (begin == std::string::npos || line[begin] == '#') return {line, "", {}};
  const auto end = std::min(line.find_first_of(spaces, begin), line.size());
  Command command{line, line.substr(begin, end - begin), {}};
  const CommandEntry* const entry = findCommand(command.name);
  if (entry == nullptr) throw ScenarioError("'" + command.name + "' is not a command");
  Arguments& arguments = command.arguments;
  if (entry->form.isRestOfLine) {
    if (end < line.size()) arguments.push_back(line.substr(end + 1));
  } else {
    std::istringstream words(line.substr(end));
    for (std::string word; words >> word;) arguments.push_back(word);
  }
  if (arguments.size() < entry->form.least || arguments.size() > entry->form.most) {
    throw ScenarioError("'" + command.name + "' takes " +
                        (entry->form.most == 0 ? "no arguments" : entry->usage));
  }
  if (entry->check != nullptr) entry->check(arguments);
  return command;
}

std::vector<Command> parseScenario(std::istream& input, const std::string& source) {
  std::vector<Command> commands;
  std::size_t number = 0;
  for (std::string line; std::getline(input, line);) {
    ++number;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    try {
      Command command = parseCommand(line);
      const bool isEmpty = command.name.empty() && line.find('#') == std::string::npos;
      if (!isEmpty) commands.push_back(std::move(command));
    } catch (const ScenarioError& error) {
      throw ScenarioError(source + ":" + std::to_string(number) + ": " + error.what());
    }
  }
  if (input.bad()) throw ScenarioError(source + " cannot be read");
  return commands;
}

}  // namespace substitute
