// Recording of `open`: a command of that name, first on PATH, replaces the system's. It only
// records its arguments.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "substitute/api/Host.h"
#include "substitute/driver/Folders.h"

namespace substitute {

class OpenRecorder {
 public:
  // Puts the command first on this process's PATH. When a call of the add-in has returned, each run
  // of the command becomes an event "open" in the trace of `host`, which outlives the recorder.
  // Throws std::runtime_error when the command cannot be created or the shell would not find it.
  explicit OpenRecorder(Host& host);

  // Restores PATH and removes the command.
  ~OpenRecorder();

  // Throws std::runtime_error when a run of the command could not be recorded.
  void checkRecorded() const;

 private:
  bool hasFailed() const;

  // The arguments of each run since the last call, oldest first.
  std::vector<std::vector<std::string>> collect();

  LockedFolder folder_;
  std::string oldPath_;
  std::size_t read_ = 0;  // how much of the file with the runs
  Signal<>::Subscription callReturned_;
};

}  // namespace substitute
