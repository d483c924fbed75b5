// Memory, strings, numbers, sorting and regular expressions.
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

#define SAME_MEMORY(SAME)                                                                          \
  SAME(__divti3)                                                                                   \
  SAME(__modti3) SAME(__udivti3) SAME(__umodti3) SAME(abs) SAME(aligned_alloc) SAME(atof) SAME(    \
      atoi) SAME(atol) SAME(atoll) SAME(bcmp) SAME(bsearch) SAME(bzero) SAME(calloc) SAME(ceil)    \
      SAME(cos) SAME(exp) SAME(fabs) SAME(floor) SAME(fmod) SAME(free) SAME(frexp) SAME(ldexp)     \
          SAME(log) SAME(log10) SAME(log2) SAME(malloc) SAME(memchr) SAME(memcmp) SAME(memcpy)     \
              SAME(memmem) SAME(memmove) SAME(memset) SAME(modf) SAME(nextafter) SAME(pow) SAME(   \
                  qsort) SAME(rand) SAME(realloc) SAME(round) SAME(sin) SAME(sqrt) SAME(srand)     \
                  SAME(stpcpy) SAME(strcasecmp) SAME(strcat) SAME(strchr) SAME(strcmp)             \
                      SAME(strcpy) SAME(strcspn) SAME(strdup) SAME(strlen) SAME(strncasecmp)       \
                          SAME(strncat) SAME(strncmp) SAME(strncpy) SAME(strndup) SAME(strnlen)    \
                              SAME(strpbrk) SAME(strrchr) SAME(strspn) SAME(strstr) SAME(strtod)   \
                                  SAME(strtof) SAME(strtok) SAME(strtok_r) SAME(strtol)            \
                                      SAME(strtoll) SAME(strtoul) SAME(strtoull) SAME(tan)         \
                                          SAME(wcschr) SAME(wcscmp) SAME(wcscpy) SAME(wcslen)      \
                                              SAME(wcsncmp) SAME(wcstod) SAME(wcstof) SAME(wcstol) \
                                                  SAME(wcstoll) SAME(wcstoul) SAME(wcstoull)       \
                                                      SAME(wmemchr) SAME(wmemcmp) SAME(wmemcpy)    \
                                                          SAME(wmemmove) SAME(wmemset)             \
                                                              SAME(munmap) SAME(mprotect)

SAME_MEMORY(EMULATION_DECLARE_SAME)

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
  return {SAME_MEMORY(EMULATION_SUPPLY_SAME) supply("_posix_memalign", macPosixMemalign),
          supply("_mmap", macMmap),
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
