// Scenarios: the commands that people and files give to the substitute host, and their playing.
#pragma once

#include <iosfwd>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "substitute/core/AddIn.h"
#include "substitute/core/Host.h"

namespace substitute {

// The palette whose page sends messages and that the user's commands are about.
inline constexpr const char* learningPalette = "teachPalete";

// A line that is no command; what() says why in one sentence.
class ScenarioError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// One command of a scenario, checked.
struct Command {
  std::string line;  // as it was typed
  std::string name;
  std::vector<std::string> arguments;
};

// What can be typed: the name, its arguments in words, and what it does.
struct CommandHelp {
  std::string name;
  std::string arguments;
  std::string meaning;
};
const std::vector<CommandHelp>& commandHelp();

// The words for the kinds of objects that can be planted and removed.
const std::vector<std::string>& kindNames();

// One line as a command. `name` is empty for a blank line and for a comment. Throws ScenarioError.
Command parseCommand(const std::string& line);

// All lines of `input`, blank ones left out and comments kept. Throws ScenarioError, with `source`
// and the number of the line.
std::vector<Command> parseScenario(std::istream& input, const std::string& source);

// What a player says when the add-in breaks the rules of counting, or its library outlives it;
// whatever else it says can be seen in the trace and the state.
namespace complaint {
inline constexpr const char* badRelease = "A reference was dropped that the add-in did not hold!";
inline constexpr const char* badText = "A text was handed back that the add-in did not hold!";
inline constexpr const char* stillLoaded =
    "The add-in was let go, yet the process keeps its library.";
}  // namespace complaint

// Plays commands on a host and tells in words what comes of them.
class Player {
 public:
  // `addin` is the library that `start` loads. All references outlive the player.
  Player(Host& host, std::string addin, std::ostream& out);

  // Plays one command. Throws LoadError when the library cannot be loaded.
  void play(const Command& command);

  // True between `start` and `stop` or `unload`, whatever `run` returned.
  bool loaded() const { return addin_ != nullptr; }

  // Whether each command is repeated above what comes of it.
  bool echo = true;

 private:
  void act(const Command& command);
  void start();
  void unload();
  void say(const std::string& sentence);
  void tellChanges();  // what can be seen since before_, which becomes what is seen now
  std::string infoText() const;

  Host& host_;
  std::string addinFile_;
  std::ostream& out_;
  std::unique_ptr<AddIn> addin_;
  Json before_;
  std::string infoText_;
  long badReleases_ = 0;
  long badTexts_ = 0;
};

}  // namespace substitute
