#include "substitute/driver/LockedFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace fs = std::filesystem;

namespace substitute {

namespace {

const std::string prefix = "velorin-host-";
// A file in each of these folders. A user's own folder of such a name has none and is not removed.
constexpr const char* mark = ".temporary";

int openFolder(const std::string& path) {
  return open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

// Whether `path` is still the folder that was opened as `descriptor`.
bool isStill(const std::string& path, int descriptor) {
  struct stat named = {};
  struct stat opened = {};
  return stat(path.c_str(), &named) == 0 && fstat(descriptor, &opened) == 0 &&
         named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
}

void removeStaleFolders(const fs::path& place) {
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(place, ignored)) {
    if (entry.path().filename().string().rfind(prefix, 0) != 0) continue;
    if (!fs::exists(entry.path() / mark, ignored)) continue;
    const int folder = openFolder(entry.path().string());
    if (folder < 0) continue;
    if (flock(folder, LOCK_EX | LOCK_NB) == 0) fs::remove_all(entry, ignored);
    close(folder);
  }
}

}  // namespace

LockedFolder::LockedFolder() {
  std::error_code error;
  const fs::path place = fs::temp_directory_path(error);
  if (error) throw std::runtime_error("TMPDIR names no folder; let it name one");
  removeStaleFolders(place);
  // Before it is locked, another process can remove the folder as a stale one.
  do {
    if (lock_ >= 0) close(lock_);
    path_ = (place / (prefix + "XXXXXX")).string();
    if (mkdtemp(path_.data()) == nullptr) {
      throw std::runtime_error("no folder can be made in " + place.string() + ": " +
                               std::generic_category().message(errno) +
                               "; let TMPDIR name another folder");
    }
    lock_ = openFolder(path_);
    if (lock_ < 0 && errno != ENOENT) {
      throw std::runtime_error(path_ + ": " + std::generic_category().message(errno));
    }
  } while (lock_ < 0 || (flock(lock_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) ||
           !isStill(path_, lock_));
  std::ofstream(path_ + "/" + mark);
}

// The word is the number of the descriptor, a colon and the path.
LockedFolder::LockedFolder(const std::string& word)
    : path_(word.substr(word.find(':') + 1)), lock_(std::atoi(word.c_str())) {
  if (!isStill(path_, lock_)) throw std::runtime_error("the folder " + path_ + " is gone");
  keep();
}

std::string LockedFolder::handOver() {
  fcntl(lock_, F_SETFD, 0);
  return std::to_string(lock_) + ":" + path_;
}

void LockedFolder::keep() const {
  fcntl(lock_, F_SETFD, FD_CLOEXEC);
}

LockedFolder::~LockedFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
  close(lock_);
}

}  // namespace substitute
