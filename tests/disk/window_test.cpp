// How long the info file stands empty at each start: this program's own fopen64, write and writev,
// which the C++ library finds before the system's, read the clock.
#include <dlfcn.h>
#include <sys/uio.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <optional>

#include "tests/AddInLife.h"

namespace {

using Clock = std::chrono::steady_clock;

std::optional<Clock::time_point> emptied;
std::vector<Clock::duration> windows;

template <class Function>
Function* next(Function* /*own*/, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void written() {
  if (!emptied) return;
  windows.push_back(Clock::now() - *emptied);
  emptied.reset();
}

}  // namespace

#define INTERPOSED extern "C" __attribute__((visibility("default")))

INTERPOSED FILE* fopen64(const char* path, const char* mode) {
  static const auto system = next(&fopen64, "fopen64");
  // The file is emptied somewhere within this call.
  if (*mode == 'w') emptied = Clock::now();
  return system(path, mode);
}

INTERPOSED ssize_t write(int file, const void* bytes, size_t size) {
  static const auto system = next(&write, "write");
  const ssize_t result = system(file, bytes, size);
  written();
  return result;
}

INTERPOSED ssize_t writev(int file, const iovec* parts, int count) {
  static const auto system = next(&writev, "writev");
  const ssize_t result = system(file, parts, count);
  written();
  return result;
}

namespace {

class InfoFileWindow : public AddInLife {};

TEST_F(InfoFileWindow, OpensOnceAStart) {
  using Microseconds = std::chrono::duration<double, std::micro>;
  writeFile(infoFile, "16.11.2026\n1\n");
  load();
  constexpr std::size_t starts = 1000;
  windows.clear();
  for (std::size_t i = 0; i < starts; ++i) AutoOpenPalette();
  ASSERT_EQ(windows.size(), starts);
  std::sort(windows.begin(), windows.end());
  const Microseconds median = windows[starts / 2];
  std::cout << "The file stands empty for " << median.count() << " microseconds (median), "
            << Microseconds(windows.front()).count() << " at least, "
            << Microseconds(windows[starts * 99 / 100]).count() << " in 99 of 100 starts, "
            << Microseconds(windows.back()).count() << " at most.\n";
}

}  // namespace
