// The stack of a process that crashes. It is kept by the process itself, and described by a process
// whose memory is sound.
#pragma once

#include <array>
#include <cstddef>
#include <string>

namespace substitute {

// Holds no pointers that are followed, so that processes can share it.
struct StackTrace {
  std::size_t count = 0;
  std::array<void*, 64> addresses = {};  // that functions return to, the innermost first
  std::array<char, 262144> mappings;     // the files in the memory of the process; ends with a zero
};

// To be called once before keepStack(). Also sets an alternate stack for signal handlers, which
// they need when the stack has overflowed.
void prepareStack();

// Keeps the stack of this process, without this function and its `callers` innermost callers. Safe
// in a signal handler. In a build for macOS nothing is kept, since that system writes a report with
// the stack.
void keepStack(StackTrace& stack, std::size_t callers);

// A line for each function; functions that are not exported are named, too.
std::string describe(const StackTrace& stack);

}  // namespace substitute
