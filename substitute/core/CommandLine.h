// The options that the substitute hosts share.
#pragma once

#include <CLI/CLI.hpp>
#include <fstream>
#include <optional>
#include <string>

#include "substitute/core/Host.h"
#include "substitute/core/Scenario.h"

namespace substitute {

// The command line's values, as typed.
struct CommandLine {
  std::string addin;  // the built library if left out
  std::string data;   // a folder of the user's if left out
  bool noAddinFolder = false;
  std::optional<std::string> executable;  // that of a host installed in `data` if left out
  int language = 2;
  std::string entitlement = *Settings().entitlement;
  bool offline = false;
  std::string trace;
  bool systemOpen = false;
  std::string scenario;
};

// Declares the options of both hosts on `parser`; parsing fills `values`, which outlives it.
void addOptions(CLI::App& parser, CommandLine& values);

// What is wrong with an option's empty value, where a file or folder is wanted; for CLI11's
// check().
std::string refuseEmpty(const std::string& value);

// Fills in what was left out and gives the host's values. Nothing is made yet. Throws
// std::runtime_error when there is no folder for the host's data.
Settings settingsFor(CommandLine& values);

// Makes the add-in's folder as an installer would, unless it is not wanted, and says so where the
// add-in in `host` will not find it. Throws std::runtime_error, with one sentence, when it cannot
// be made.
void installAddinFolder(const CommandLine& values, const Host& host);

// What the host has beside its program, wherever that is: the built library, scenarios and more.
std::string besideProgram(const std::string& name);

// The file that the word SCENARIO means: the file of that name, or one of the scenarios that come
// with the host. Throws std::runtime_error when there is neither.
std::string scenarioFile(const std::string& word);

// The commands of that scenario; of standard input for the word -. Throws ScenarioError, and what
// scenarioFile throws.
std::vector<Command> readScenario(const std::string& word);

// A file that a host's trace is written to, line by line.
class TraceFile {
 public:
  // Opens `path` and leaves what is in it. Throws std::runtime_error when it cannot be opened.
  explicit TraceFile(const std::string& path);

  // Empties the file and writes all that the gate of `host` lets through from now on, for
  // which the file has to be there.
  void begin(Host& host);

  // False when something could not be written.
  bool good() const { return file_.good(); }

 private:
  std::string path_;
  std::ofstream file_;
};

}  // namespace substitute
