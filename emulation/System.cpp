#include "System.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unordered_map>
#include <vector>

#include "Numbers.h"

// Functions that are not supplied, each of two instructions: it calls end_for_missing with its own
// address, which tells its number.
__asm__(
    ".text\n"
    ".p2align 2\n"
    ".globl missing_functions, missing_functions_end\n"
    "missing_functions:\n"
    ".rept 256\n"
    "  adr x0, .\n"
    "  b end_for_missing\n"
    ".endr\n"
    "missing_functions_end:\n");
extern "C" char missing_functions[], missing_functions_end[];
constexpr std::ptrdiff_t missingFunctionSize = 8;

// The section of all names.
struct SystemName {
  const char* name;
  void* address;
};
extern "C" const SystemName __start_system_names[], __stop_system_names[];

using emulation::Pair;

namespace {

// Up to 34 the numbers are the same, but for one. Above, those that files and processes meet.
constexpr int lastSameError = 34;
constexpr Pair errors[] = {{11, EDEADLK}, {35, EAGAIN},       {45, ENOTSUP},   {60, ETIMEDOUT},
                           {62, ELOOP},   {63, ENAMETOOLONG}, {66, ENOTEMPTY}, {69, EDQUOT},
                           {70, ESTALE},  {77, ENOLCK},       {78, ENOSYS},    {84, EOVERFLOW},
                           {92, EILSEQ},  {96, ENODATA}};

int errorToMac(int number) {
  return numberToMac(errors, number, number <= lastSameError ? number : 45);
}

int errorToLinux(int number) {
  constexpr int unknown = -1;  // for strerror, too
  return numberToLinux(errors, number, number <= lastSameError ? number : unknown);
}

int macErrno = 0;

std::vector<std::string> missingNames;

}  // namespace

extern "C" {

// Programs reach errno through a pointer. What a function of Linux has left in its own errno since
// the last time is converted now; what the program stores stays.
int* mac___error() {
  if (errno != 0) macErrno = errorToMac(errno);
  errno = 0;
  return &macErrno;
}

char* mac_strerror(int number) {
  return strerror(errorToLinux(number));
}

int mac_strerror_r(int number, char* buffer, std::size_t size) {
  const int length = std::snprintf(buffer, size, "%s", mac_strerror(number));
  return static_cast<std::size_t>(length) < size ? 0 : ERANGE;
}

[[noreturn]] void end_for_missing(const char* function) {
  const auto number =
      static_cast<std::size_t>((function - missing_functions) / missingFunctionSize);
  emulation::endProcess("the system function " + missingNames[number] +
                        " is called and not supplied");
}

}  // extern "C"

EMULATION_CONVERTED("__error, strerror, strerror_r");

namespace emulation {

void* findSystemName(const std::string& name) {
  static const auto names = [] {
    std::unordered_map<std::string, void*> all;
    std::for_each(__start_system_names, __stop_system_names,
                  [&](const SystemName& entry) { all.emplace(entry.name, entry.address); });
    return all;
  }();
  const auto found = names.find(name);
  return found == names.end() ? nullptr : found->second;
}

void* missingFunction(const std::string& name) {
  const std::string itsName = name.substr(1);
  const auto known = std::find(missingNames.begin(), missingNames.end(), itsName);
  void* const function = missing_functions + (known - missingNames.begin()) * missingFunctionSize;
  if (function == missing_functions_end) endProcess("too many system functions are not supplied");
  if (known == missingNames.end()) missingNames.push_back(itsName);
  return function;
}

void endProcess(const std::string& sentence) {
  std::fflush(nullptr);
  std::fprintf(stderr, "macos-loader: %s.\n", sentence.c_str());
  std::_Exit(EXIT_FAILURE);
}

}  // namespace emulation
