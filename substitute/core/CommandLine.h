// The options that the substitute hosts share.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "substitute/core/Host.h"

namespace substitute {

// The command line's values, as typed.
struct CommandLine {
  std::string addin;  // the built library if left out
  std::string data;   // a folder of the user's if left out
  bool noAddinFolder = false;
  std::string executable;
  int language = 2;
  std::string entitlement = *Settings().entitlement;
  bool offline = false;
  std::string trace;
  bool systemOpen = false;
  std::string scenario;
};

// Declares the options of both hosts on `parser`; parsing fills `values`, which outlives it.
void addOptions(CLI::App& parser, CommandLine& values);

// Fills in what was left out and gives the host's values. Nothing is made yet. Throws
// std::runtime_error when there is no folder for the host's data.
Settings settingsFor(CommandLine& values);

// Makes the add-in's folder as an installer would, unless it is not wanted. Throws
// std::runtime_error, with one sentence, when it cannot be made.
void installAddinFolder(const CommandLine& values);

// The file that the word SCENARIO means: the file of that name, or one of the scenarios that come
// with the host. Throws std::runtime_error when there is neither.
std::string scenarioFile(const std::string& word);

// Writes all that the gate of `host` lets through to the file `path`, line by line. Throws
// std::runtime_error when it cannot be written.
void writeTrace(Host& host, const std::string& path);

}  // namespace substitute
