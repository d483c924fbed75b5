#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

// The names of macOS's system library, libSystem, in terms of Linux's C library.
namespace emulation {

struct SystemName {
  const char* name;  // with the underscore of C
  const void* address;
};
using SystemNames = std::vector<SystemName>;

// Null for a name that is not supplied.
void* findSystemName(const std::string& name);

// Code in place of a function that is not supplied: called, it ends the process with its name.
void* missingFunction(const std::string& name);

// Each subject's part of them.
SystemNames fileFunctions();
SystemNames localeFunctions();
SystemNames memoryFunctions();
SystemNames processFunctions();
SystemNames signalFunctions();
SystemNames stdioFunctions();
SystemNames threadFunctions();
SystemNames timeFunctions();
// The loader's own: dlopen and its kin.
SystemNames loaderFunctions();

template <typename Function>
SystemName supply(const char* name, Function* function) {
  return {name, reinterpret_cast<const void*>(function)};
}

// An entry point for a function with `fixed` named arguments and others after them. macOS passes
// the latter on the stack, 8 bytes each; `implementation`, with the linkage of C, gets their
// address as its next argument.
#define EMULATION_VARIADIC(entry, fixed, implementation)                      \
  __asm__(".text\n.p2align 2\n.globl " #entry "\n" #entry ":\n  mov x" #fixed \
          ", sp\n  b " #implementation "\n");                                 \
  extern "C" const char entry[];

// Such arguments as Linux's functions take them: none is in a register.
inline std::va_list& toVaList(void* stack, std::va_list& list) {
  const struct {
    void* stack;
    void* registers[2];
    int registersLeft[2];
  } arguments = {stack, {}, {}};
  static_assert(sizeof(arguments) == sizeof(list));
  std::memcpy(&list, &arguments, sizeof(list));
  return list;
}

// errno has other numbers.
int errnoToMac(int number);
int errnoToLinux(int number);

// The functions that take a signal and those that tell a status convert its number.
int signalToMac(int number);
int signalToLinux(int number);

}  // namespace emulation
