#include "substitute/driver/Scenario.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "substitute/driver/Folders.h"
#include "substitute/driver/Text.h"

namespace fs = std::filesystem;

namespace substitute {

namespace {

constexpr const char* spaces = " \t\r";

// Why there is no command `name`.
UsageError unknownCommand(const std::string& name) {
  std::vector<std::string> names;
  for (const CommandEntry& known : commands()) names.emplace_back(known.name);
  for (const char* const word : {"calls", "exit", "help", "quit"}) {
    if (name == word) return UsageError("'" + name + "' is understood at the prompt alone");
  }
  return UsageError("'" + name + "' is not a command; the nearest are " + nearest(name, names));
}

// The arguments in `line` from `at` on, which is the end of the command's name. `usage` are their
// names.
Arguments split(const std::string& line, std::size_t at, const std::vector<std::string>& usage) {
  const std::string last = usage.empty() ? "" : usage.back();
  const bool endsInRest = last == "[DATA]" || last == "[TEXT]" || last == "JSON";
  if (!endsInRest) return wordsIn(line.substr(at));
  Arguments arguments;
  while (arguments.size() + 1 < usage.size()) {
    const auto word = line.find_first_not_of(spaces, at);
    if (word == std::string::npos) return arguments;
    at = std::min(line.find_first_of(spaces, word), line.size());
    arguments.push_back(line.substr(word, at - word));
  }
  if (at < line.size()) arguments.push_back(line.substr(at + 1));
  return arguments;
}

}  // namespace

Command parseCommand(const std::string& line) {
  const auto begin = line.find_first_not_of(spaces);
  if (begin == std::string::npos) return {};
  if (line[begin] == '#') return {line, "", {}};
  const auto end = std::min(line.find_first_of(spaces, begin), line.size());
  Command command{line, line.substr(begin, end - begin), {}};
  const CommandEntry* const entry = findCommand(command.name);
  if (entry == nullptr) throw unknownCommand(command.name);
  const std::vector<std::string> usage = wordsIn(entry->usage);
  const auto least = std::count_if(usage.begin(), usage.end(),
                                   [](const std::string& word) { return word[0] != '['; });
  command.arguments = split(line, end, usage);
  const std::size_t count = command.arguments.size();
  if (count < static_cast<std::size_t>(least) || count > usage.size()) {
    throw UsageError("'" + command.name + "' takes " +
                     (usage.empty() ? "no arguments" : entry->usage));
  }
  if (entry->check != nullptr) entry->check(command.arguments);
  return command;
}

Command ScenarioReader::read(std::string line) {
  ++number_;
  const std::string byteOrderMark = "\xef\xbb\xbf";
  if (number_ == 1 && line.rfind(byteOrderMark, 0) == 0) line.erase(0, byteOrderMark.size());
  if (!line.empty() && line.back() == '\r') line.pop_back();
  const std::string place = source_ + ":" + std::to_string(number_);
  try {
    if (line.find('\0') != std::string::npos) throw UsageError("the line holds a zero byte");
    Command command = parseCommand(line);
    command.place = place;
    return command;
  } catch (const UsageError& error) {
    throw UsageError(place + ": " + error.what(), error.option());
  }
}

std::vector<std::string> scenarioNames() {
  std::vector<std::string> names;
  std::error_code none;
  for (const auto& entry : fs::directory_iterator(besideProgram("scenarios"), none)) {
    if (entry.path().extension() == ".txt") names.push_back(entry.path().stem().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string scenarioFile(const std::string& word) {
  std::error_code unreachable;
  if (fs::exists(word, unreachable) && !fs::is_directory(word, unreachable)) return word;
  std::string known = besideProgram("scenarios/" + word + ".txt");
  if (word.find('/') == std::string::npos && fs::is_regular_file(known, unreachable)) return known;
  throw UsageError("there is no scenario " + word + "; there are " + listed(scenarioNames()),
                   "--list-scenarios");
}

std::vector<Command> readScenario(const std::string& word) {
  const std::string file = scenarioFile(word);
  std::ifstream input(file);
  std::vector<Command> commands;
  ScenarioReader reader(file);
  for (std::string line; std::getline(input, line);) {
    Command command = reader.read(line);
    if (!command.line.empty()) commands.push_back(std::move(command));
  }
  if (!input.is_open() || input.bad()) {
    throw std::runtime_error("the scenario " + file + " cannot be read");
  }
  return commands;
}

}  // namespace substitute
