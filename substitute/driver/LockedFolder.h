// A temporary folder, known by a lock from what a dead process has left.
#pragma once

#include <string>

namespace substitute {

// A new folder where temporary files go. It is locked while its owner lives, and removed with what
// is in it at its owner's end. The next owner removes those whose owners ended without that. A
// number of a process would not do: other processes can bear it, or have it in a name space of
// their own.
class LockedFolder {
 public:
  // Throws std::runtime_error, with one sentence, when there is no place for it.
  LockedFolder();

  // Takes over a folder that this process had before it started another program.
  explicit LockedFolder(std::string path);

  ~LockedFolder();
  LockedFolder(const LockedFolder&) = delete;
  LockedFolder& operator=(const LockedFolder&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
  int lock_ = -1;
};

}  // namespace substitute
