// Stands in for the shell's `open`: a command of that name, first on PATH, that only records what
// it was given.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace substitute {

class OpenRecorder {
 public:
  // Puts the command first on this process's PATH. Throws std::runtime_error, or
  // std::system_error, when it cannot be made or would not be found.
  OpenRecorder();

  // Gives PATH back and removes the command.
  ~OpenRecorder();
  OpenRecorder(const OpenRecorder&) = delete;
  OpenRecorder& operator=(const OpenRecorder&) = delete;

  // The arguments of each run since the last call, oldest first.
  std::vector<std::vector<std::string>> collect();

 private:
  std::string directory_;
  std::string oldPath_;
  std::size_t read_ = 0;
};

}  // namespace substitute
