// Memory, strings, numbers, sorting and regular expressions.
#include <malloc.h>
#include <regex.h>
#include <sys/mman.h>
#include <sys/random.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "System.h"

namespace {

int macPosixMemalign(void** memory, std::size_t alignment, std::size_t size) {
  return emulation::errnoToMac(posix_memalign(memory, alignment, size));
}

// Only MAP_SHARED, MAP_PRIVATE and MAP_FIXED have the same bits.
void* macMmap(void* address, std::size_t size, int protection, int flags, int file, off_t offset) {
  constexpr int sameFlags = MAP_SHARED | MAP_PRIVATE | MAP_FIXED;
  constexpr int anonymous = 0x1000;
  const int linuxFlags = (flags & sameFlags) | ((flags & anonymous) != 0 ? MAP_ANONYMOUS : 0);
  return mmap(address, size, protection, linuxFlags, file, offset);
}

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

void macArc4randomBuf(void* buffer, std::size_t size) {
  for (std::size_t at = 0; at < size;) {
    const ssize_t got = getrandom(static_cast<char*>(buffer) + at, size - at, 0);
    if (got > 0) at += static_cast<std::size_t>(got);
  }
}

std::uint32_t macArc4random() {
  std::uint32_t number = 0;
  macArc4randomBuf(&number, sizeof(number));
  return number;
}

// The checked forms get the size of the target as well.
void* macMemcpyChk(void* to, const void* from, std::size_t size, std::size_t room) {
  if (size > room) std::abort();
  return std::memcpy(to, from, size);
}

void* macMemsetChk(void* to, int value, std::size_t size, std::size_t room) {
  if (size > room) std::abort();
  return std::memset(to, value, size);
}

// Linux's own structure hangs on the last pointer of macOS's. Its offsets have 64 bits there.
struct MacRegex {
  int magic;
  std::size_t groups;
  const char* end;
  regex_t* own;
};

struct MacMatch {
  std::int64_t begin;
  std::int64_t end;
};

int macRegcomp(MacRegex* regex, const char* pattern, int flags) {
  const int linuxFlags = ((flags & 1) != 0 ? REG_EXTENDED : 0) |
                         ((flags & 2) != 0 ? REG_ICASE : 0) | ((flags & 4) != 0 ? REG_NOSUB : 0) |
                         ((flags & 8) != 0 ? REG_NEWLINE : 0);
  regex->own = new regex_t;
  const int result = regcomp(regex->own, pattern, linuxFlags);
  if (result != 0) {
    delete regex->own;
    return result;
  }
  regex->groups = regex->own->re_nsub;
  return 0;
}

int macRegexec(const MacRegex* regex, const char* string, std::size_t count, MacMatch* matches,
               int flags) {
  std::vector<regmatch_t> own(count);
  const int result = regexec(regex->own, string, count, own.data(), flags);
  for (std::size_t i = 0; result == 0 && matches != nullptr && i < count; ++i) {
    matches[i] = {own[i].rm_so, own[i].rm_eo};
  }
  return result;
}

void macRegfree(MacRegex* regex) {
  regfree(regex->own);
  delete regex->own;
  regex->own = nullptr;
}

std::size_t macRegerror(int code, const MacRegex* regex, char* buffer, std::size_t size) {
  return regerror(code, regex == nullptr ? nullptr : regex->own, buffer, size);
}

}  // namespace

namespace emulation {

SystemNames memoryFunctions() {
  return {supply("_posix_memalign", macPosixMemalign),
          supply("_mmap", macMmap),
          supply("_malloc_zone_statistics", mallocZoneStatistics),
          supply("_memset_pattern4", memsetPattern<4>),
          supply("_memset_pattern8", memsetPattern<8>),
          supply("_memset_pattern16", memsetPattern<16>),
          supply("_arc4random", macArc4random),
          supply("_arc4random_buf", macArc4randomBuf),
          supply("___memcpy_chk", macMemcpyChk),
          supply("___memset_chk", macMemsetChk),
          supply("_regcomp", macRegcomp),
          supply("_regexec", macRegexec),
          supply("_regfree", macRegfree),
          supply("_regerror", macRegerror)};
}

}  // namespace emulation
