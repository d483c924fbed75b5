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

// The names of the scenarios that come with the host, in order.
std::vector<std::string> scenarioNames();

// The file that the word SCENARIO means: the file of that name, or one of the scenarios that come
// with the host. Throws UsageError when there is neither.
std::string scenarioFile(const std::string& word);

// The commands of that scenario. Throws ScenarioError, what scenarioFile throws, and
// std::runtime_error when the file cannot be read.
std::vector<Command> readScenario(const std::string& word);

// Throws std::runtime_error when standard input cannot be read.
void checkStandardInput();

// Whether two paths name one file, which need not be there yet.
bool isSameFile(const std::string& one, const std::string& other);

// The file of --trace.
class TraceFile {
 public:
  // Opens `path` and leaves its content. Throws UsageError when it cannot be opened.
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
