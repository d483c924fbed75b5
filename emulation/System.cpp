#include "System.h"

#include <sys/mman.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unordered_map>

extern "C" const emulation::SystemName same_functions[];

namespace emulation {

namespace {

struct Pair {
  int linux;
  int mac;
};

// Up to 34 the numbers are the same, but for one. Above, those that files and processes meet.
constexpr int lastSameError = 34;
constexpr Pair errors[] = {{EDEADLK, 11},   {EAGAIN, 35}, {ENOTSUP, 45}, {ETIMEDOUT, 60},
                           {ELOOP, 62},     {EDQUOT, 69}, {ESTALE, 70},  {ENAMETOOLONG, 63},
                           {ENOTEMPTY, 66}, {ENOLCK, 77}, {ENOSYS, 78},  {EOVERFLOW, 84},
                           {EILSEQ, 92},    {ENODATA, 96}};

int macErrno = 0;

// Programs reach errno through a pointer. What a function of Linux has left in its own errno since
// the last time is converted now; what the program stores stays.
int* errnoPointer() {
  if (errno != 0) macErrno = errnoToMac(errno);
  errno = 0;
  return &macErrno;
}

char* macStrerror(int number) {
  return strerror(errnoToLinux(number));
}

// The form of POSIX: returns a number of an error.
int macStrerrorR(int number, char* buffer, std::size_t size) {
  if (size == 0) return ERANGE;
  const char* const sentence = macStrerror(number);
  std::strncpy(buffer, sentence, size - 1);
  buffer[size - 1] = '\0';
  return std::strlen(sentence) < size ? 0 : ERANGE;
}

[[noreturn]] void endForMissing(const char* name) {
  std::fflush(nullptr);
  std::fprintf(stderr, "macos-loader: the system function %s is called and not supplied.\n", name);
  std::_Exit(EXIT_FAILURE);
}

}  // namespace

int errnoToMac(int number) {
  for (const Pair& pair : errors) {
    if (pair.linux == number) return pair.mac;
  }
  return number <= lastSameError ? number : errnoToMac(ENOTSUP);
}

int errnoToLinux(int number) {
  for (const Pair& pair : errors) {
    if (pair.mac == number) return pair.linux;
  }
  return number <= lastSameError ? number : -1;  // glibc calls it unknown
}

void* findSystemName(const std::string& name) {
  static const auto names = [] {
    std::unordered_map<std::string, const void*> all;
    const SystemNames own = {supply("___error", errnoPointer), supply("_strerror", macStrerror),
                             supply("_strerror_r", macStrerrorR)};
    for (const SystemNames& part : {own, fileFunctions(), loaderFunctions(), localeFunctions(),
                                    memoryFunctions(), processFunctions(), signalFunctions(),
                                    stdioFunctions(), threadFunctions(), timeFunctions()}) {
      for (const SystemName& entry : part) all.emplace(entry.name, entry.address);
    }
    for (const SystemName* entry = same_functions; entry->name != nullptr; ++entry) {
      all.emplace(entry->name, entry->address);
    }
    return all;
  }();
  const auto found = names.find(name);
  return found == names.end() ? nullptr : const_cast<void*>(found->second);
}

void* missingFunction(const std::string& name) {
  static std::unordered_map<std::string, void*> made;
  void*& code = made[name];
  if (code != nullptr) return code;
  // ldr x0, name; ldr x16, function; br x16; then the two addresses.
  struct Stub {
    std::uint32_t instructions[4] = {0x58000080, 0x580000b0, 0xd61f0200, 0xd503201f};
    const char* name;
    void (*function)(const char*);
  } stub;
  stub.name = strdup(name.c_str() + 1);
  stub.function = endForMissing;
  constexpr std::size_t pageSize = 4096;
  static std::size_t used = pageSize;
  static char* page = nullptr;
  if (used + sizeof(stub) > pageSize) {
    page = static_cast<char*>(mmap(nullptr, pageSize, PROT_READ | PROT_WRITE | PROT_EXEC,
                                   MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    used = 0;
  }
  code = page + used;
  used += sizeof(stub);
  std::memcpy(code, &stub, sizeof(stub));
  __builtin___clear_cache(static_cast<char*>(code), static_cast<char*>(code) + sizeof(stub));
  return code;
}

}  // namespace emulation
