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

  // Takes over the folder that the program before this one, in the same process, has handed over by
  // that word. Throws std::runtime_error when there is none.
  explicit LockedFolder(const std::string& word);

  ~LockedFolder();
  LockedFolder(const LockedFolder&) = delete;
  LockedFolder& operator=(const LockedFolder&) = delete;

  const std::string& path() const { return path_; }

  // Leaves the folder to the program that replaces this one, locked all the while: another host
  // would take it for a leftover. The result is the word that names it there.
  std::string handOver();

  // No program has replaced this one: programs that it starts do not keep the lock.
  void keep() const;

 private:
  std::string path_;
  int lock_ = -1;
};

}  // namespace substitute
