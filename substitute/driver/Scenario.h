// Reading scenarios.
#pragma once

#include <iosfwd>
#include <stdexcept>
#include <string>
#include <vector>

#include "substitute/driver/Commands.h"

namespace substitute {

// A scenario cannot be read, or a line of it is not a command; what() says so in one sentence.
class ScenarioError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// One line of a scenario, checked.
struct Command {
  std::string line;  // as it was typed
  std::string name;  // empty for an empty line and for a comment
  Arguments arguments;
  std::string place = {};  // the source and the number of the line, "s.txt:3"; empty when typed
};

// Throws ScenarioError.
Command parseCommand(const std::string& line);

// All lines of `input`; empty ones are left out, comments are kept. Throws ScenarioError, which
// begins with `source` and the number of the line.
std::vector<Command> parseScenario(std::istream& input, const std::string& source);

}  // namespace substitute
