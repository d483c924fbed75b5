#include "substitute/driver/Folders.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>
#ifdef __APPLE__
#include <mach-o/dyld.h>
#endif

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

}  // namespace

std::string besideProgram(const std::string& name) {
#ifdef __APPLE__
  const fs::path program = fs::canonical(_dyld_get_image_name(0));
#else
  const fs::path program = fs::read_symlink("/proc/self/exe");
#endif
  return (program.parent_path() / name).string();
}

std::string userFolder(const char* variable, const std::string& belowHome) {
  const char* const directory = std::getenv(variable);
  const char* const home = std::getenv("HOME");
  const std::string name = "/velorin-substitute-host";
  if (directory != nullptr && *directory != '\0') return directory + name;
  if (home != nullptr && *home != '\0') return std::string(home) + "/" + belowHome + name;
  return "";
}

FolderLock::FolderLock(const std::string& path)
    : folder_(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)),
      isHeld_(folder_ >= 0 && flock(folder_, LOCK_EX | LOCK_NB) == 0) {}

FolderLock::~FolderLock() {
  if (folder_ >= 0) close(folder_);
}

LockedFolder::LockedFolder() {
  std::error_code error;
  const fs::path place = fs::temp_directory_path(error);
  if (error) throw std::runtime_error("TMPDIR names no folder; let it name one");
  removeAbandoned();
  path_ = (place / (prefix + "XXXXXX")).string();
  if (mkdtemp(path_.data()) == nullptr) {
    throw std::runtime_error("no folder can be made in " + place.string() + ": " +
                             std::generic_category().message(errno) +
                             "; let TMPDIR name another folder");
  }
  lock_.emplace(path_);
  std::ofstream(path_ + "/" + mark);
}

void LockedFolder::removeAbandoned() {
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(fs::temp_directory_path(ignored), ignored)) {
    if (entry.path().filename().string().rfind(prefix, 0) != 0) continue;
    if (!fs::exists(entry.path() / mark, ignored)) continue;
    const FolderLock lock(entry.path().string());
    if (lock.isHeld()) fs::remove_all(entry, ignored);
  }
}

LockedFolder::~LockedFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

}  // namespace substitute
