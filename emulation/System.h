// macOS's system library, libSystem, in terms of Linux's C library.
//
// On a Mac a program reaches the system through the C functions of libSystem alone; their names
// begin with an underscore. Most are those of POSIX, which Linux has, too. But errors, signals and
// flags have other numbers, some records another layout, a few types another size, and arguments
// behind the named ones are passed in another way. Here each name stands for an address in the
// loader, which is linked with Linux's C library: that library's own function where all terms are
// the same, or one that converts. A call of a name that is not supplied ends the process with that
// name.
#pragma once

#include <cstdarg>
#include <cstring>
#include <string>

namespace emulation {

// The address of a function or variable, by its name with the underscore; null: it is not supplied.
void* findSystemName(const std::string& name);

// Code in place of a function that is not supplied: called, it ends the process with its name.
void* missingFunction(const std::string& name);

// Ends the process. The sentence, without its full stop, tells what is not supplied.
[[noreturn]] void endProcess(const std::string& sentence);

// Supplies names: a string with commas between them, and the symbol of each, in which \\name is the
// name. They become records of a section, each with the addresses of the name and of the symbol.
// The assembler makes them, so that no declaration is needed.
#define EMULATION_SUPPLY(names, symbol)                                    \
  __asm__(".irp name, " names                                              \
          "\n"                                                             \
          ".pushsection .rodata\n1: .asciz \"_\\name\"\n.popsection\n"     \
          ".pushsection system_names, \"a\"\n.balign 8\n.quad 1b, " symbol \
          "\n.popsection\n"                                                \
          ".endr\n")
// Linux's own functions.
#define EMULATION_SAME(names) EMULATION_SUPPLY(names, "\\name")
// Functions and variables that are defined beside the list, with the linkage of C, as mac_NAME.
#define EMULATION_CONVERTED(names) EMULATION_SUPPLY(names, "mac_\\name")

// An entry point for a function with `fixed` named arguments and others after them. macOS passes
// the latter on the stack, 8 bytes each; `implementation`, with the linkage of C, gets their
// address as its next argument.
#define EMULATION_VARIADIC(entry, fixed, implementation)                      \
  __asm__(".text\n.p2align 2\n.globl " #entry "\n" #entry ":\n  mov x" #fixed \
          ", sp\n  b " #implementation "\n")

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

}  // namespace emulation
