// Recording of what the add-in opens: in place of the system's `open` the shell finds a command of
// that name, first on PATH, that only writes down its arguments.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "substitute/api/Host.h"

namespace substitute {

class OpenRecorder {
 public:
  // Puts the command first on this process's PATH. From then on each run of it is an entry of the
  // trace of `host`, which outlives the recorder: {"event": "open"}, when the call into the add-in
  // is over. Throws std::runtime_error, or std::system_error, when the command cannot be made or
  // would not be found.
  explicit OpenRecorder(Host& host);

  // Gives PATH back and removes the command.
  ~OpenRecorder();
  OpenRecorder(const OpenRecorder&) = delete;
  OpenRecorder& operator=(const OpenRecorder&) = delete;

 private:
  // The arguments of each run since the last call, oldest first.
  std::vector<std::vector<std::string>> collect();

  std::string directory_;
  std::string oldPath_;
  std::size_t read_ = 0;
  Signal<>::Subscription callReturned_;
};

}  // namespace substitute
