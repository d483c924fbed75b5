// Recording of `open`: a command of that name, first on PATH, replaces the system's. It only
// records its arguments.
#pragma once

#include <unistd.h>

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

  // An error of the shell itself, such as "Syntax error: Unterminated quoted string". Published
  // when the call of the add-in has returned. In a build for macOS the shell writes to standard
  // error instead.
  Signal<std::string> shellFailed;

  // Throws std::runtime_error when a run of the command could not be recorded.
  void checkRecorded() const;

  // Restores PATH and removes the command.
  ~OpenRecorder();

 private:
  bool hasFailed() const { return access((folder_.path() + "/open.failed").c_str(), F_OK) == 0; }

  // The arguments of each run since the last call, oldest first.
  std::vector<std::vector<std::string>> collect();
  void reportErrors();

  LockedFolder folder_;
  std::string errors_;  // the file to which the shell's standard error goes
  std::string oldPath_;
  std::size_t read_ = 0;
  std::size_t readErrors_ = 0;
  Signal<>::Subscription callReturned_;
};

}  // namespace substitute
