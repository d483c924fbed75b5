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
    auto at = end;
    for (std::size_t i = 0; i < entry->form.wordsBeforeRest; ++i) {
      const auto word = line.find_first_not_of(spaces, at);
      if (word == std::string::npos) break;
      at = std::min(line.find_first_of(spaces, word), line.size());
      arguments.push_back(line.substr(word, at - word));
    }
    if (at < line.size() && arguments.size() == entry->form.wordsBeforeRest) {
      arguments.push_back(line.substr(at + 1));
    }
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
    const std::string place = source + ":" + std::to_string(number);
    try {
      Command command = parseCommand(line);
      command.place = place;
      const bool isEmpty = command.name.empty() && line.find('#') == std::string::npos;
      if (!isEmpty) commands.push_back(std::move(command));
    } catch (const ScenarioError& error) {
      throw ScenarioError(place + ": " + error.what());
    }
  }
  if (input.bad()) throw ScenarioError(source + " cannot be read");
  return commands;
}

}  // namespace substitute
