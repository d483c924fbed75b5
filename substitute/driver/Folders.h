// The folders of a host: those of the program and of its user, and temporary ones. Hosts lock the
// folders that they use, so that they know of each other.
#pragma once

#include <optional>
#include <string>

namespace substitute {

// The path of a file in the running program's folder, where the built library and the scenarios
// are. Links to the program are resolved.
std::string besideProgram(const std::string& name);

// The substitute host's folder in the user's directory that the environment's `variable` names, or,
// where it is not set, in `belowHome` in HOME. Empty when neither is set. The folder need not
// exist.
std::string userFolder(const char* variable, const std::string& belowHome);

// The lock of a folder. Only one process has it at a time; others are not kept from the folder.
class FolderLock {
 public:
  // Locks the folder `path`, if no other process has.
  explicit FolderLock(const std::string& path);
  ~FolderLock();
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

  // False when another process has locked the folder, or it cannot be opened.
  bool isHeld() const { return isHeld_; }

 private:
  int folder_;
  bool isHeld_;
};

// A new folder in the directory for temporary files. It is locked while this object exists; the
// destructor removes it with its content.
class LockedFolder {
 public:
  // Also removes those of crashed processes. Throws std::runtime_error, with one sentence, when the
  // folder cannot be created.
  LockedFolder();
  ~LockedFolder();

  const std::string& path() const { return path_; }

  // Removes such folders that nobody locks: their process has crashed. A process id could not tell
  // that, since ids are reused and differ between name spaces.
  static void removeAbandoned();

 private:
  std::string path_;
  std::optional<FolderLock> lock_;
};

}  // namespace substitute
