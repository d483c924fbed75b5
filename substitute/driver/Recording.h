// What was done to a host, as a scenario that does it again.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

#include "substitute/driver/ScenarioRunner.h"

namespace substitute {

class Recording {
 public:
  // Notes what the host of `runner` and its info file are now, and from now on what `runner` plays.
  // `runner` outlives the recording.
  explicit Recording(ScenarioRunner& runner);
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

  // The options of the command line that no command stands for, as words: the scenario names them.
  void setOptions(std::vector<std::string> options) { options_ = std::move(options); }

  // What no line of a scenario can hold, such as a message with a line break. A comment says so in
  // its place.
  std::size_t omissions() const { return omissions_; }

  // Writes the scenario. It begins by making the host what it was; with expectations it ends by
  // comparing the state with the present one, but for what differs in every run.
  void write(std::ostream& out, bool withExpectations) const;

 private:
  void add(const Command& command);
  void addOmission(const std::string& what);
  void addInfoFile(const Json& lines, const std::string& path);

  const ScenarioRunner& runner_;
  std::vector<std::string> options_;
  std::vector<std::string> lines_;
  std::size_t omissions_ = 0;
  Signal<Command>::Subscription playing_;
};

}  // namespace substitute
