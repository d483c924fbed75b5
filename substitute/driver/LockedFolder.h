// A temporary folder. Its lock distinguishes it from the folder of a process that has crashed.
#pragma once

#include <string>

namespace substitute {

// A new folder in the directory for temporary files. It is locked while this object exists; the
// destructor removes it with its content. The constructor also removes such folders that nobody
// locks: their process has crashed. A process id could not tell that, since ids are reused and
// differ between name spaces.
class LockedFolder {
 public:
  // Throws std::runtime_error, with one sentence, when it cannot be created.
  LockedFolder();

  // Takes over a folder after exec(). `word` is the result of handOver() in the program before, in
  // the same process. Throws std::runtime_error when the folder is gone.
  explicit LockedFolder(const std::string& word);

  ~LockedFolder();
  LockedFolder(const LockedFolder&) = delete;
  LockedFolder& operator=(const LockedFolder&) = delete;

  const std::string& path() const { return path_; }

  // Keeps the folder locked across exec(): otherwise another host could remove it meanwhile. The
  // result is the argument for the constructor there.
  std::string handOver();

  // Reverses handOver(): programs that this process starts do not inherit the lock.
  void keep() const;

 private:
  std::string path_;
  int lock_ = -1;
};

}  // namespace substitute
