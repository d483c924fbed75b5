// The options that both substitute hosts have.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "substitute/api/Host.h"
#include "substitute/driver/Velorin.h"

namespace substitute {

// The values of the options, as typed.
struct CommandLine {
  std::string addin;  // the built library if left out
  std::string data;   // a folder of the user's if left out
  bool noAddinFolder = false;
  std::optional<std::string> executable;  // that of a host installed in `data` if left out
  int language = 2;
  std::string entitlement = exampleEntitlement;
  bool offline = false;
  std::string trace;
  std::string expectedTrace;
  bool strict = false;
  unsigned timeout = 0;  // in seconds; 0: any time
  bool systemOpen = false;
  std::string scenario;
};

// Adds the options to `parser`, which fills `values`. `values` outlives it.
void addOptions(CLI::App& parser, CommandLine& values);

// A check for CLI11: the error for an empty value; an empty string when `value` is not empty.
std::string refuseEmpty(const std::string& value);

// Sets what was left out in `values`, and returns the host's values. Creates nothing but, on a Mac,
// the link through which it then starts the program once more with its `arguments`. Throws
// std::runtime_error when there is no folder for the host's data.
Settings settingsFor(CommandLine& values, char* const* arguments);

// Creates the add-in's folder, as an installer would, unless the options forbid it. Warns on
// standard error when the add-in will look for its folder elsewhere. Throws std::runtime_error when
// the folder cannot be created.
void installAddinFolder(const CommandLine& values, const Host& host);

}  // namespace substitute
