// The options that both programs share.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "substitute/api/Host.h"

namespace CLI {
class App;
}

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

// The same for a value that is to be a number from 1 to `most`, of what `of` says.
std::function<std::string(const std::string&)> checkNumber(const std::string& of, unsigned most);

// Reads the command line into the options of `parser`, and sets the library in `values` if it was
// left out. The result is an exit status when the program is to end: it has printed what an option
// asked for, or an error.
std::optional<int> readCommandLine(CLI::App& parser, CommandLine& values, int argc, char** argv);

// Throws UsageError when `path`, the value of `option`, is "-" or names one of `files`.
void checkOutput(const std::string& option, const std::string& path,
                 const std::vector<std::string>& files);

// Throws UsageError when the trace would overwrite a file that the run of `host` reads or writes:
// one of `scenarios`, the library, the profile's file or the expected trace.
void checkTrace(const CommandLine& values, const std::vector<std::string>& scenarios,
                const Host& host);

}  // namespace substitute
