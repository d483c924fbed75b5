// The files that the substitute hosts read and write.
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

// The user's folder for the host's data. Throws std::runtime_error when neither XDG_DATA_HOME nor
// HOME is set.
std::string userFolder();

// Creates the add-in's folder in the installation in `data`, as an installer would. Throws
// std::runtime_error, with one sentence, when it cannot.
void createAddinFolder(const std::string& data);

// The file that SCENARIO on the command line means: the file `word`, or else the scenario of that
// name beside the program. Throws std::runtime_error when there is neither.
std::string scenarioFile(const std::string& word);

// The commands of that scenario; those of standard input when `word` is "-". Throws ScenarioError,
// and what scenarioFile() throws.
std::vector<Command> readScenario(const std::string& word);

// The file of --trace.
class TraceFile {
 public:
  // Opens `path` and leaves its content. Throws std::runtime_error when it cannot be opened.
  explicit TraceFile(const std::string& path);

  TraceFile(const TraceFile&) = delete;
  TraceFile& operator=(const TraceFile&) = delete;

  // Empties the file and writes the trace of `host` there from now on, each line at once.
  void begin(Host& host);

  // False when something could not be written.
  bool good() const { return file_.good(); }

 private:
  std::string path_;
  std::ofstream file_;
  Signal<Json>::Subscription trace_;
};

}  // namespace substitute
