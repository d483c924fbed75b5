// Any bytes as a scenario: commands that read back as they were, or one sentence that names the
// line.
#include "substitute/core/Scenario.h"

#include <algorithm>
#include <sstream>

#include "tests/fuzz/Fuzz.h"

namespace {

using namespace substitute;

bool known(const std::string& name) {
  const auto& help = commandHelp();
  return std::any_of(help.begin(), help.end(),
                     [&](const auto& entry) { return entry.name == name; });
}

// The lines that hold more than blanks.
std::vector<std::string> filledLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream input(text);
  for (std::string line; std::getline(input, line);) {
    if (line.find_first_not_of(" \t\r\n") != std::string::npos) lines.push_back(line);
  }
  return lines;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::vector<std::string> lines = filledLines(text);
  std::istringstream input(text);
  try {
    const std::vector<Command> commands = parseScenario(input, "fuzz");
    require(commands.size() == lines.size(), "a command for every line");
    for (std::size_t i = 0; i < commands.size(); ++i) {
      const Command& command = commands[i];
      require(command.name.empty() || known(command.name), "known commands only");
      const Command again = parseCommand(lines[i]);
      require(again.name == command.name && again.arguments == command.arguments, "the command");
    }
  } catch (const ScenarioError& error) {
    const std::string what = error.what();
    require(what.rfind("fuzz:", 0) == 0 && what.find(": ", 5) != std::string::npos, "the place");
    require(std::stoul(what.substr(5)) >= 1, "the line's number");
    require(std::any_of(lines.begin(), lines.end(),
                        [](const std::string& line) {
                          try {
                            parseCommand(line);
                            return false;
                          } catch (const ScenarioError&) {
                            return true;
                          }
                        }),
            "a wrong line");
  }
  return 0;
}
