// The results of scenarios in JUnit's XML format, which continuous integration reads.
#pragma once

#include <string>
#include <vector>

#include "substitute/driver/Supervisor.h"

namespace substitute {

// The results as an XML document. Bytes and characters that XML does not allow become U+FFFD.
std::string toJUnit(const std::vector<ScenarioResult>& results);

// The file of --junit. It is a whole document after each result.
class ResultsFile {
 public:
  // Writes a document without results. Does nothing, now or later, when `path` is empty. Throws
  // UsageError when the file cannot be written.
  explicit ResultsFile(std::string path);

  // Adds a result to the document. Throws UsageError.
  void add(const ScenarioResult& result);

 private:
  void write() const;

  std::string path_;
  std::vector<ScenarioResult> results_;
};

}  // namespace substitute
