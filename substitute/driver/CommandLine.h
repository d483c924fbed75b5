// The options that the substitute hosts share.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "substitute/api/Host.h"
#include "substitute/driver/Velorin.h"

namespace substitute {

// The command line's values, as typed.
struct CommandLine {
  std::string addin;  // the built library if left out
  std::string data;   // a folder of the user's if left out
  bool noAddinFolder = false;
  std::optional<std::string> executable;  // that of a host installed in `data` if left out
  int language = 2;
  std::string entitlement = exampleEntitlement;
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

}  // namespace substitute
