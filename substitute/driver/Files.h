// The files that the substitute hosts read and write.
#pragma once

#include <fstream>
#include <string>
#include <vector>

#include "substitute/api/Host.h"
#include "substitute/driver/Scenario.h"

namespace substitute {

// A file that lies beside the running program, whatever folder that is in: the built library, the
// scenarios and more.
std::string besideProgram(const std::string& name);

// The folder of the user's in which a host is installed that has no folder of its own. Throws
// std::runtime_error when HOME names none.
std::string userFolder();

// Creates the add-in's folder in the installation in `data`, as an installer would. Throws
// std::runtime_error, with one sentence, when it cannot.
void createAddinFolder(const std::string& data);

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

  TraceFile(const TraceFile&) = delete;
  TraceFile& operator=(const TraceFile&) = delete;

  // Empties the file and writes the trace of `host` there from now on.
  void begin(Host& host);

  // False when something could not be written.
  bool good() const { return file_.good(); }

 private:
  std::string path_;
  std::ofstream file_;
  Signal<Json>::Subscription trace_;
};

}  // namespace substitute
