// Counts what is allocated between two moments. The functions are there only when the library
// `allocations` has been loaded before all others (LD_PRELOAD); otherwise their addresses are null.
// One thread only.
#pragma once

#include <cstddef>

namespace benchmarks {

// On whose behalf something was allocated.
enum class Owner {
  text,      // a text, or anything else of the library that was called
  stream,    // a file stream: its buffer and its file
  cLibrary,  // the C library's own affairs, such as the time zone
  host,      // anything beneath a call of the host
};

struct Allocation {
  std::size_t bytes;  // as asked for
  Owner owner;
};

struct Allocations {
  const Allocation* all;  // the first ones, `kept` of them, valid until the next beginning
  std::size_t kept;
  std::size_t count[4];   // by owner
  std::size_t peakBytes;  // the most that was allocated at a time beyond what was at the beginning
};

extern "C" {
__attribute__((weak)) void beginAllocations();
__attribute__((weak)) Allocations endAllocations();
}

}  // namespace benchmarks
