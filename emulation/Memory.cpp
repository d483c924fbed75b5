// Memory.
//
// macOS maps memory as POSIX has it, with flags of its own, and keeps the memory of malloc in zones
// that tell how much of them is used. Here there is one zone, Linux's.
#include <malloc.h>
#include <sys/mman.h>

#include <cstdint>

#include "Numbers.h"
#include "System.h"

using emulation::Pair;

constexpr Pair mapFlags[] = {
    {0x1, MAP_SHARED}, {0x2, MAP_PRIVATE}, {0x10, MAP_FIXED}, {0x1000, MAP_ANONYMOUS}};

struct MallocStatistics {
  std::uint32_t blocks;
  std::size_t used;
  std::size_t mostUsed;
  std::size_t allocated;
};

extern "C" {

// The protection has the same numbers, and so has the answer to a failure.
void* mac_mmap(void* address, std::size_t size, int protection, int flags, int file, off_t offset) {
  const int own = emulation::flagsToLinux(mapFlags, flags, "mmap");
  return mmap(address, size, protection, own, file, offset);
}

// Of the bytes alone.
void mac_malloc_zone_statistics(void* /*zone*/, MallocStatistics* statistics) {
  const struct mallinfo2 own = mallinfo2();
  *statistics = {0, own.uordblks, 0, own.arena};
}

}  // extern "C"

EMULATION_CONVERTED("malloc_zone_statistics, mmap");
EMULATION_SAME("aligned_alloc, calloc, free, malloc, munmap, realloc");
