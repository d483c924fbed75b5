// Files and folders. Flags, the records of a file and of a folder's entry, and the word for the
// current folder differ.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <unordered_map>

#include "System.h"

namespace {

struct Flag {
  int mac;
  int linux;
};

// Access modes have the same values.
constexpr Flag openFlags[] = {{0x4, O_NONBLOCK},     {0x8, O_APPEND},     {0x80, O_SYNC},
                              {0x100, O_NOFOLLOW},   {0x200, O_CREAT},    {0x400, O_TRUNC},
                              {0x800, O_EXCL},       {0x20000, O_NOCTTY}, {0x100000, O_DIRECTORY},
                              {0x1000000, O_CLOEXEC}};

constexpr Flag atFlags[] = {{0x10, AT_EACCESS},
                            {0x20, AT_SYMLINK_NOFOLLOW},
                            {0x40, AT_SYMLINK_FOLLOW},
                            {0x80, AT_REMOVEDIR}};

template <std::size_t Size>
int toLinux(int macFlags, const Flag (&flags)[Size]) {
  int converted = 0;
  for (const Flag& flag : flags) {
    if ((macFlags & flag.mac) != 0) converted |= flag.linux;
  }
  return converted;
}

int openFlagsToLinux(int flags) {
  return (flags & O_ACCMODE) | toLinux(flags, openFlags);
}

int openFlagsToMac(int flags) {
  int converted = flags & O_ACCMODE;
  for (const Flag& flag : openFlags) {
    if ((flags & flag.linux) == flag.linux) converted |= flag.mac;
  }
  return converted;
}

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

int macStat(const char* path, MacStat* to) {
  struct stat from {};
  return fill(to, stat(path, &from), from);
}

int macLstat(const char* path, MacStat* to) {
  struct stat from {};
  return fill(to, lstat(path, &from), from);
}

int macFstat(int file, MacStat* to) {
  struct stat from {};
  return fill(to, fstat(file, &from), from);
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

MacDirent* macReaddir(DIR* folder) {
  const dirent* const from = readdir(folder);
  if (from == nullptr) return nullptr;
  MacDirent& to = entries[folder];
  to.inode = from->d_ino;
  to.position = static_cast<std::uint64_t>(from->d_off);
  to.recordSize = sizeof(to);
  to.nameLength = static_cast<std::uint16_t>(std::strlen(from->d_name));
  to.type = from->d_type;
  std::strcpy(to.name, from->d_name);
  return &to;
}

int macClosedir(DIR* folder) {
  entries.erase(folder);
  return closedir(folder);
}

int macUnlinkat(int folder, const char* path, int flags) {
  return unlinkat(folderToLinux(folder), path, toLinux(flags, atFlags));
}

int macFchmodat(int folder, const char* path, mode_t mode, int flags) {
  return fchmodat(folderToLinux(folder), path, mode, toLinux(flags, atFlags));
}

int macSysconf(int name) {
  switch (name) {
    case 5:
      return static_cast<int>(sysconf(_SC_OPEN_MAX));
    case 29:
      return static_cast<int>(sysconf(_SC_PAGESIZE));
    case 57:
    case 58:
      return 1;  // processors
    default:
      errno = EINVAL;
      return -1;
  }
}

}  // namespace

extern "C" {

int mac_open(const char* path, int flags, const unsigned* stack) {
  const int converted = openFlagsToLinux(flags);
  return open(path, converted, (converted & O_CREAT) != 0 ? *stack : 0);
}

int mac_openat(int folder, const char* path, int flags, const unsigned* stack) {
  const int converted = openFlagsToLinux(flags);
  return openat(folderToLinux(folder), path, converted, (converted & O_CREAT) != 0 ? *stack : 0);
}

int mac_fcntl(int file, int command, const int* stack) {
  constexpr int duplicateCloseOnExec = 67;
  switch (command) {
    case F_GETFL: {
      const int flags = fcntl(file, F_GETFL);
      return flags < 0 ? flags : openFlagsToMac(flags);
    }
    case F_SETFL:
      return fcntl(file, F_SETFL, openFlagsToLinux(*stack));
    case F_GETFD:
      return fcntl(file, F_GETFD);
    case F_DUPFD:
    case F_SETFD:
      return fcntl(file, command, *stack);
    case duplicateCloseOnExec:
      return fcntl(file, F_DUPFD_CLOEXEC, *stack);
    default:
      errno = EINVAL;
      return -1;
  }
}

}  // extern "C"

EMULATION_VARIADIC(entry_open, 2, mac_open)
EMULATION_VARIADIC(entry_openat, 3, mac_openat)
EMULATION_VARIADIC(entry_fcntl, 2, mac_fcntl)

namespace emulation {

SystemNames fileFunctions() {
  return {{"_open", entry_open},
          {"_openat", entry_openat},
          {"_fcntl", entry_fcntl},
          supply("_realpath$DARWIN_EXTSN", realpath),
          supply("_stat", macStat),
          supply("_lstat", macLstat),
          supply("_fstat", macFstat),
          supply("_readdir", macReaddir),
          supply("_closedir", macClosedir),
          supply("_unlinkat", macUnlinkat),
          supply("_fchmodat", macFchmodat),
          supply("_sysconf", macSysconf)};
}

}  // namespace emulation
