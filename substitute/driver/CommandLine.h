// Reads the command line: the options that both programs share, and each program's own.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "substitute/api/Host.h"

namespace substitute {

enum class CallForm;

// The values of the options, as typed.
struct CommandLine {
  std::string addin;  // the built library if left out
  std::string data;   // see HostSession if left out
  bool fresh = false;
  bool noAddinFolder = false;
  std::optional<std::string> executable;  // that of a host installed in `data` if left out
  int language = czechLanguage;
  std::optional<std::string> entitlement;  // that of the profile if left out
  bool offline = false;
  std::string trace;
  std::string expectedTrace;
  bool strict = false;
  unsigned timeout = 0;           // in seconds; 0: no limit
  std::optional<CallForm> calls;  // calls are printed so; not at all if left out
  bool systemOpen = false;
  bool listScenarios = false;
  bool listOperations = false;
};

// Takes a value as typed. Returns what is wrong with it, or an empty string.
using TakeValue = std::function<std::string(const std::string& value)>;

// Takes a number from 1 to `most`, of what `of` says.
TakeValue takeNumber(unsigned& target, const std::string& of, unsigned most);

struct Option {
  // In this order: a flag; any text; one that is not empty; several such; what a function takes.
  using Target = std::variant<bool*, std::optional<std::string>*, std::string*,
                              std::vector<std::string>*, TakeValue>;
  const char* name;       // such as "--data" or "-j"; that of arguments has no dash
  const char* valueName;  // for the help
  Target target;
  const char* help;
  bool takesSeveral = false;  // arguments, or what commas separate
};

struct Program {
  const char* name;
  const char* description;
  std::vector<Option> options;  // besides those of CommandLine
  std::string footer;           // of the help
};

// Reads the command line into `values` and the options of `program`, and sets the library if it was
// left out. The result is an exit status when the program is to end: it has printed what an option
// asked for, or an error.
std::optional<int> readCommandLine(const Program& program, CommandLine& values, int argc,
                                   char** argv);

}  // namespace substitute
