// Files, folders and pipes.
//
// macOS opens, describes and lists files as POSIX has it. Its flags have BSD's numbers, the records
// of a file and of a folder's entry a layout of their own, and the current folder another number
// than Linux's. Here they are converted on the way in or out.
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <unordered_map>

#include "Numbers.h"

using emulation::flagsToLinux;
using emulation::flagsToMac;
using emulation::Pair;

namespace {

constexpr Pair openFlags[] = {{0x1, O_WRONLY},     {0x2, O_RDWR},           {0x4, O_NONBLOCK},
                              {0x8, O_APPEND},     {0x80, O_SYNC},          {0x200, O_CREAT},
                              {0x400, O_TRUNC},    {0x800, O_EXCL},         {0x100, O_NOFOLLOW},
                              {0x20000, O_NOCTTY}, {0x100000, O_DIRECTORY}, {0x1000000, O_CLOEXEC}};

constexpr Pair atFlags[] = {{0x20, AT_SYMLINK_NOFOLLOW}, {0x80, AT_REMOVEDIR}};

int folderToLinux(int folder) {
  constexpr int currentFolder = -2;
  return folder == currentFolder ? AT_FDCWD : folder;
}

struct MacStat {
  std::int32_t device;
  std::uint16_t mode;
  std::uint16_t links;
  std::uint64_t inode;
  std::uint32_t user;
  std::uint32_t group;
  std::int32_t specialDevice;
  timespec accessed;
  timespec modified;
  timespec changed;
  timespec born;
  std::int64_t size;
  std::int64_t blocks;
  std::int32_t blockSize;
  std::uint32_t flags;
  std::uint32_t generation;
  std::int32_t spare[5];
};
static_assert(sizeof(MacStat) == 144);

int fill(MacStat* to, int result, const struct stat& from) {
  if (result != 0) return result;
  *to = MacStat{};
  to->device = static_cast<std::int32_t>(from.st_dev);
  to->mode = static_cast<std::uint16_t>(from.st_mode);
  to->links = static_cast<std::uint16_t>(from.st_nlink);
  to->inode = from.st_ino;
  to->user = from.st_uid;
  to->group = from.st_gid;
  to->specialDevice = static_cast<std::int32_t>(from.st_rdev);
  to->accessed = from.st_atim;
  to->modified = from.st_mtim;
  to->changed = to->born = from.st_ctim;
  to->size = from.st_size;
  to->blocks = from.st_blocks;
  to->blockSize = from.st_blksize;
  return 0;
}

struct MacDirent {
  std::uint64_t inode;
  std::uint64_t position;
  std::uint16_t recordSize;
  std::uint16_t nameLength;
  std::uint8_t type;
  char name[1024];
};

// The last entry read of each open folder, whose record is the folder's until the next is read.
std::unordered_map<DIR*, MacDirent> entries;

}  // namespace

extern "C" {

int mac_vopenat(int folder, const char* path, int flags, const unsigned* stack) {
  const int converted = flagsToLinux(openFlags, flags, "openat");
  return openat(folderToLinux(folder), path, converted, (converted & O_CREAT) != 0 ? *stack : 0);
}

int mac_vopen(const char* path, int flags, const unsigned* stack) {
  return mac_vopenat(AT_FDCWD, path, flags, stack);
}

// The commands have the same numbers.
int mac_vfcntl(int file, int command, const int* stack) {
  switch (command) {
    case F_GETFL: {
      const int flags = fcntl(file, F_GETFL);
      return flags < 0 ? flags : flagsToMac(openFlags, flags);
    }
    case F_SETFL:
      return fcntl(file, F_SETFL, flagsToLinux(openFlags, *stack, "fcntl"));
    case F_GETFD:
      return fcntl(file, F_GETFD);
    case F_SETFD:
      return fcntl(file, F_SETFD, *stack);
    default:
      emulation::endProcess("the command " + std::to_string(command) +
                            " of fcntl is not supported");
  }
}

int mac_unlinkat(int folder, const char* path, int flags) {
  return unlinkat(folderToLinux(folder), path, flagsToLinux(atFlags, flags, "unlinkat"));
}

int mac_fchmodat(int folder, const char* path, mode_t mode, int flags) {
  return fchmodat(folderToLinux(folder), path, mode, flagsToLinux(atFlags, flags, "fchmodat"));
}

int mac_stat(const char* path, MacStat* to) {
  struct stat from {};
  return fill(to, stat(path, &from), from);
}

int mac_lstat(const char* path, MacStat* to) {
  struct stat from {};
  return fill(to, lstat(path, &from), from);
}

int mac_fstat(int file, MacStat* to) {
  struct stat from {};
  return fill(to, fstat(file, &from), from);
}

MacDirent* mac_readdir(DIR* folder) {
  const dirent* const from = readdir(folder);
  if (from == nullptr) return nullptr;
  MacDirent& to = entries[folder];
  to.inode = from->d_ino;
  to.position = static_cast<std::uint64_t>(from->d_off);
  to.recordSize = sizeof(to);
  to.nameLength = static_cast<std::uint16_t>(std::strlen(from->d_name));
  std::memcpy(to.name, from->d_name, to.nameLength + 1U);
  to.type = from->d_type;
  return &to;
}

int mac_closedir(DIR* folder) {
  entries.erase(folder);
  return closedir(folder);
}

// The events have the same bits, but for that of writing out of band. The count is narrower.
int mac_poll(pollfd* files, unsigned count, int timeout) {
  return poll(files, count, timeout);
}

}  // extern "C"

EMULATION_VARIADIC(mac_open, 2, mac_vopen);
EMULATION_VARIADIC(mac_openat, 3, mac_vopenat);
EMULATION_VARIADIC(mac_fcntl, 2, mac_vfcntl);

EMULATION_CONVERTED(
    "closedir, fchmodat, fcntl, fstat, lstat, open, openat, poll, readdir, stat, unlinkat");
EMULATION_SUPPLY("realpath$DARWIN_EXTSN", "realpath");
EMULATION_SAME(
    "access, chdir, chmod, close, dup, dup2, fchmod, fdopendir, flock, ftruncate, getcwd, isatty, "
    "link, mkdir, mkdtemp, mkstemp, opendir, pipe, read, readlink, remove, rename, rmdir, symlink, "
    "truncate, write");
