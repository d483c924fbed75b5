// A recording of the commands that were played on a host, written as a scenario.
#pragma once

#include <cstddef>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "substitute/driver/ScenarioRunner.h"

namespace substitute {

class Recording {
 public:
  // Records commands that restore the host's present settings and the profile's file, then every
  // command that `runner` plays. `runner` outlives the recording.
  explicit Recording(ScenarioRunner& runner);
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

  // Sets the command line options that no command can replace. A comment in the scenario names
  // them.
  void setOptions(std::vector<std::string> options) { options_ = std::move(options); }

  // The number of commands that no line of a scenario can express, such as a message with a line
  // break. A comment replaces each of them.
  std::size_t omissions() const { return omissions_; }

  // Writes the scenario to the file `path`, and from now on each line at once. Does nothing where
  // the file cannot be written.
  void keepIn(const std::string& path);

  // Writes the scenario to `out`. With expectations it ends with `expect` commands for the present
  // state, except for the parts that differ in every run.
  void write(std::ostream& out, bool withExpectations) const;

 private:
  void add(const Command& command);
  void addLine(const std::string& line);
  void addOmission(const std::string& what);

  const ScenarioRunner& runner_;
  std::vector<std::string> options_;
  std::vector<std::string> lines_;
  std::size_t omissions_ = 0;
  std::ofstream kept_;
  Signal<Command>::Subscription playing_;
};

}  // namespace substitute
