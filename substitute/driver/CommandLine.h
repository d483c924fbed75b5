// The options that the substitute hosts share, and what their mains have in common.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "substitute/api/Host.h"
#include "substitute/driver/Velorin.h"

namespace substitute {

// The values of the options, as typed.
struct CommandLine {
  std::string addin;  // the built library if left out
  std::string data;   // see Installation if left out
  bool fresh = false;
  bool noAddinFolder = false;
  std::optional<std::string> executable;  // that of a host installed in `data` if left out
  int language = czechLanguage;
  std::string entitlement = exampleEntitlement;
  bool offline = false;
  std::string trace;
  std::string expectedTrace;
  bool strict = false;
  unsigned timeout = 0;  // in seconds; 0: any time
  bool systemOpen = false;
  bool listScenarios = false;
  bool listOperations = false;
};

// Adds the options to `parser`, which fills `values`. `values` outlives it.
void addOptions(CLI::App& parser, CommandLine& values);

// A check for CLI11: the error for an empty value; an empty string when `value` is not empty.
std::string checkNotEmpty(const std::string& value);

// Reads the command line into what is declared on `parser` and fills in the library. The result is
// the exit status when the program has nothing more to do: what was asked for is printed, or what
// is wrong is told.
std::optional<int> readCommandLine(CLI::App& parser, CommandLine& values, int argc, char** argv);

// Throws UsageError when `path`, the value of `option`, is standard output or would overwrite one
// of `files`.
void checkOutput(const std::string& option, const std::string& path,
                 const std::vector<std::string>& files);

// Throws UsageError when the trace would overwrite what the run of `host` reads or writes: one of
// the scenarios, given as words, the library, the info file or the expected trace.
void checkTrace(const CommandLine& values, const std::vector<std::string>& scenarios,
                const Host& host);

// Tells a sentence on standard error, begun with the program's name and ended with a full stop.
void printError(const std::string& program, const std::string& sentence);

// What ends a program before its time.
struct FatalError {
  int status;            // the exit status
  std::string sentence;  // without its full stop, with the option that helps
};

// The exception that is being handled.
FatalError currentError();

// Tells of the exception that is being handled. The result is the exit status.
int printException(const std::string& program);

}  // namespace substitute
