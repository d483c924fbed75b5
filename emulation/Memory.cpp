// Memory and random numbers.
#include <malloc.h>
#include <sys/random.h>

#include <algorithm>
#include <cstring>

#include "System.h"

namespace {

// memset with a value of 4, 8 or 16 bytes, which the compiler calls of itself.
template <std::size_t PatternSize>
void memsetPattern(void* memory, const void* pattern, std::size_t size) {
  auto* const bytes = static_cast<char*>(memory);
  for (std::size_t at = 0; at < size; at += PatternSize) {
    std::memcpy(bytes + at, pattern, std::min(PatternSize, size - at));
  }
}

struct MallocStatistics {
  std::uint32_t blocks;
  std::size_t used;
  std::size_t mostUsed;
  std::size_t allocated;
};

// Of the bytes alone, and for all zones.
void mallocZoneStatistics(void* /*zone*/, MallocStatistics* statistics) {
  const struct mallinfo2 own = mallinfo2();
  *statistics = {0, own.uordblks, 0, own.arena};
}

std::uint32_t macArc4random() {
  std::uint32_t number = 0;
  while (getrandom(&number, sizeof(number), 0) != sizeof(number)) {
  }
  return number;
}

}  // namespace

namespace emulation {

SystemNames memoryFunctions() {
  return {supply("_malloc_zone_statistics", mallocZoneStatistics),
          supply("_memset_pattern4", memsetPattern<4>),
          supply("_memset_pattern8", memsetPattern<8>),
          supply("_memset_pattern16", memsetPattern<16>), supply("_arc4random", macArc4random)};
}

}  // namespace emulation
