// Reading scenarios.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

#include "substitute/driver/Commands.h"
#include "substitute/driver/Errors.h"

namespace substitute {

// A line of a scenario is not a command; what() says why in one sentence.
class ScenarioError : public UsageError {
 public:
  using UsageError::UsageError;
};

// One line of a scenario, checked.
struct Command {
  std::string line;  // as it was typed
  std::string name;  // empty for an empty line and for a comment
  Arguments arguments;
  std::string place = {};  // the source and the number of the line, "s.txt:3"; empty at a prompt
};

// Throws ScenarioError.
Command parseCommand(const std::string& line);

// Parses the lines of a scenario, one after the other.
class ScenarioReader {
 public:
  // `source` names where the lines come from.
  explicit ScenarioReader(std::string source) : source_(std::move(source)) {}

  // Parses the next line. For an empty line, name and line of the command are empty. Throws
  // ScenarioError, which begins with the source and the number of the line.
  Command read(std::string line);

 private:
  std::string source_;
  std::size_t number_ = 0;
};

// Parses all lines of `input`, without empty lines but with comments. Throws ScenarioError, which
// begins with `source` and the number of the line, and std::runtime_error when reading fails.
std::vector<Command> parseScenario(std::istream& input, const std::string& source);

// The names of the scenarios that come with the host, in alphabetical order.
std::vector<std::string> scenarioNames();

// The file for the argument SCENARIO: the file of that name, or one of the scenarios that come with
// the host. Throws UsageError when there is neither.
std::string scenarioFile(const std::string& word);

// The commands of that scenario. Throws ScenarioError, what scenarioFile throws, and
// std::runtime_error when the file cannot be read.
std::vector<Command> readScenario(const std::string& word);

}  // namespace substitute
