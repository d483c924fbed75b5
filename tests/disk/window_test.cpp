// The window in which the info file stands empty at each start, and how long it is open: this
// program's own fopen64, write and writev, which the C++ library finds before the system's, look at
// the file and read the clock.
#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/uio.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include "tests/AddInFixture.h"

namespace {

using Clock = std::chrono::steady_clock;

// What one start does to the file.
struct Update {
  int emptied = 0;
  int written = 0;
  std::string before;        // the file on the way into the call that empties it
  bool stayedEmpty = false;  // until the first write
  std::string after;         // the file behind the last write
  Clock::duration window{};
};

std::string watched;     // the file's path; what concerns other files is let through
int watchedNumber = -1;  // the file's, once it has been emptied
Clock::time_point windowOpened;
Update update;

template <class Function>
Function* next(Function* /*own*/, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool standsEmpty() {
  struct stat now {};
  return stat(watched.c_str(), &now) == 0 && now.st_size == 0;
}

// A write, carried out by `work`. The window is not longer for our looking into it.
template <class Work>
ssize_t writeTo(int file, Work work) {
  if (file != watchedNumber) return work();
  const bool first = ++update.written == 1;
  if (first) {
    update.window = Clock::now() - windowOpened;
    update.stayedEmpty = standsEmpty();
  }
  const Clock::time_point begin = Clock::now();
  const ssize_t result = work();
  if (first) update.window += Clock::now() - begin;
  update.after = readFile(watched);
  return result;
}

}  // namespace

#define INTERPOSED extern "C" __attribute__((visibility("default")))

INTERPOSED FILE* fopen64(const char* path, const char* mode) {
  static const auto system = next(&fopen64, "fopen64");
  if (*mode != 'w' || path != watched) return system(path, mode);
  ++update.emptied;
  update.before = readFile(watched);
  // The file is emptied somewhere within this call.
  windowOpened = Clock::now();
  FILE* const file = system(path, mode);
  watchedNumber = file == nullptr ? -1 : fileno(file);
  return file;
}

INTERPOSED ssize_t write(int file, const void* bytes, size_t size) {
  static const auto system = next(&write, "write");
  return writeTo(file, [&] { return system(file, bytes, size); });
}

INTERPOSED ssize_t writev(int file, const iovec* parts, int count) {
  static const auto system = next(&writev, "writev");
  return writeTo(file, [&] { return system(file, parts, count); });
}

namespace {

class InfoFileWindow : public AddInFixture {
 protected:
  ~InfoFileWindow() override { watched.clear(); }

  static std::string counting(std::size_t starts) {
    return "16.11.2026\n" + std::to_string(starts) + "\n";
  }
};

TEST_F(InfoFileWindow, OpensOnceAStart) {
  using Microseconds = std::chrono::duration<double, std::micro>;
  writeFile(infoFile, counting(1));
  load();
  watched = infoFile;
  constexpr std::size_t starts = 300;
  std::vector<Clock::duration> windows;
  for (std::size_t start = 1; start <= starts; ++start) {
    update = {};
    AutoOpenPalette();
    watchedNumber = -1;
    ASSERT_EQ(update.emptied, 1) << "in start " << start;
    ASSERT_EQ(update.written, 1) << "in start " << start;
    ASSERT_EQ(update.before, counting(start));
    ASSERT_TRUE(update.stayedEmpty) << "in start " << start;
    ASSERT_EQ(update.after, counting(start + 1));
    windows.push_back(update.window);
  }
  std::sort(windows.begin(), windows.end());
  const Microseconds median = windows[starts / 2];
  std::cout << "The file stands empty for " << median.count() << " microseconds (median), "
            << Microseconds(windows.front()).count() << " at least, "
            << Microseconds(windows[starts * 99 / 100]).count() << " in 99 of 100 starts, "
            << Microseconds(windows.back()).count() << " at most.\n";
}

}  // namespace
