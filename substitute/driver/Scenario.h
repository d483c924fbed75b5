// Reading scenarios.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "substitute/driver/Commands.h"
#include "substitute/driver/Errors.h"

namespace substitute {

// One line of a scenario, checked.
struct Command {
  std::string line;  // as it was typed; empty when it holds nothing
  std::string name;  // empty for an empty line and for a comment
  Arguments arguments;
  std::string place = {};  // the source and the number of the line, "s.txt:3"; empty at a prompt
};

// Throws UsageError when the line is not a command.
Command parseCommand(const std::string& line);

// Parses the lines of a scenario, one after the other.
class ScenarioReader {
 public:
  // `source` names where the lines come from.
  explicit ScenarioReader(std::string source) : source_(std::move(source)) {}

  // Parses the next line. Throws UsageError, which begins with the source and the line's number.
  Command read(std::string line);

 private:
  std::string source_;
  std::size_t number_ = 0;
};

// The names of the scenarios that come with the host, in alphabetical order.
std::vector<std::string> scenarioNames();

// The file for the argument SCENARIO: the file of that name, or one of the scenarios that come with
// the host. Throws UsageError when there is neither.
std::string scenarioFile(const std::string& word);

// The commands and comments of that scenario. Throws UsageError, and std::runtime_error when the
// file cannot be read.
std::vector<Command> readScenario(const std::string& word);

}  // namespace substitute
