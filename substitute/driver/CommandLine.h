// The options that both programs share, and how their main functions report errors.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "substitute/api/Host.h"

namespace substitute {

enum class CallForm;

// The values of the options, as typed.
struct CommandLine {
  std::string addin;  // the built library if left out
  std::string data;   // see Installation if left out
  bool fresh = false;
  bool noAddinFolder = false;
  std::optional<std::string> executable;  // that of a host installed in `data` if left out
  int language = czechLanguage;
  std::string entitlement;  // that of the profile if left out
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

// Adds the options to `parser`, which fills `values`. `values` outlives it.
void addOptions(CLI::App& parser, CommandLine& values);

// A validator for CLI11: returns an error when `value` is empty, else an empty string.
std::string checkNotEmpty(const std::string& value);

// Reads the command line into the options of `parser`, and sets the library in `values` if it was
// left out. The result is an exit status when the program is to end: it has printed what an option
// asked for, or an error.
std::optional<int> readCommandLine(CLI::App& parser, CommandLine& values, int argc, char** argv);

// Throws std::runtime_error when standard output could not be written.
void flushOutput();

// Throws UsageError when `path`, the value of `option`, is "-" or names one of `files`.
void checkOutput(const std::string& option, const std::string& path,
                 const std::vector<std::string>& files);

// Throws UsageError when the trace would overwrite a file that the run of `host` reads or writes:
// one of `scenarios`, the library, the profile's file or the expected trace.
void checkTrace(const CommandLine& values, const std::vector<std::string>& scenarios,
                const Host& host);

// Prints a sentence on standard error, after the program's name. Adds the full stop if missing.
void printError(const std::string& program, const std::string& sentence);

// An error that ends the program.
struct FatalError {
  int status;            // the exit status
  std::string sentence;  // without its full stop; names the option that helps
};

// Describes the exception that is being handled.
FatalError currentError();

// Prints the exception that is being handled to standard error. Returns the exit status.
int printException(const std::string& program);

}  // namespace substitute
