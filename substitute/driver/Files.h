// The files that the programs read and write.
#pragma once

#include <fstream>
#include <string>
#include <vector>

#include "substitute/api/Host.h"
#include "substitute/driver/Scenario.h"

namespace substitute {

// The path of a file in the running program's folder, where the built library and the scenarios
// are.
std::string besideProgram(const std::string& name);

// The substitute host's folder in the user's directory that the environment's `variable` names, or,
// where it is not set, in `belowHome` in HOME. Empty when neither is set. The folder need not
// exist.
std::string userFolder(const char* variable, const std::string& belowHome);

// The names of the scenarios that come with the host, in alphabetical order.
std::vector<std::string> scenarioNames();

// The file for the argument SCENARIO: the file of that name, or one of the scenarios that come with
// the host. Throws UsageError when there is neither.
std::string scenarioFile(const std::string& word);

// The commands of that scenario. Throws ScenarioError, what scenarioFile throws, and
// std::runtime_error when the file cannot be read.
std::vector<Command> readScenario(const std::string& word);

// Throws std::runtime_error when standard input cannot be read.
void checkStandardInput();

// Whether two paths name the same file, which need not exist.
bool isSameFile(const std::string& one, const std::string& other);

// The file of --trace.
class TraceFile {
 public:
  // Opens `path` without changing its content. Throws UsageError when it cannot be opened.
  explicit TraceFile(const std::string& path);

  TraceFile(const TraceFile&) = delete;
  TraceFile& operator=(const TraceFile&) = delete;

  // Empties the file, then writes each line of the trace of `host` to it at once.
  void begin(Host& host);

  // False when something could not be written.
  bool good() const { return file_.good(); }

 private:
  std::string path_;
  std::ofstream file_;
  Signal<Json>::Subscription trace_;
};

}  // namespace substitute
