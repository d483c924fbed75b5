// The add-in is loaded, used, stopped and unloaded many times in one process, which must not grow.
#include <algorithm>
#include <cstdlib>

#include "tests/AddInFixture.h"

#if defined(__APPLE__)
#include <malloc/malloc.h>
#else
#include <malloc.h>
#endif

namespace fs = std::filesystem;

namespace {

std::size_t heapInUse() {
#if defined(__APPLE__)
  malloc_statistics_t heap = {};
  malloc_zone_statistics(nullptr, &heap);
  return heap.size_in_use;
#else
  return mallinfo2().uordblks;
#endif
}

// What a process holds of its system, Linux in each case: its files, threads and mappings.
std::vector<std::ptrdiff_t> resources() {
  const auto entries = [](const char* directory) {
    const fs::directory_iterator all(directory);
    return std::distance(begin(all), end(all));
  };
  const std::string maps = readFile("/proc/self/maps");
  return {entries("/proc/self/fd"), entries("/proc/self/task"),
          std::count(maps.begin(), maps.end(), '\n')};
}

class ManyStarts : public AddInFixture {
 protected:
  ManyStarts() {
    // Unlike the recorder's, this record does not grow in the process's memory.
    const std::string open = folder.path() + "/open";
    writeFile(open, "#!/bin/sh\nprintf '%s\\n' \"$1\" >>\"$0.runs\"\n");
    fs::permissions(open, fs::perms::owner_all);
    recordNothing();
    setenv("PATH", (folder.path() + ":" + std::getenv("PATH")).c_str(), 1);
  }

  // In turn, the palette is created by going online and by run; each tenth time by the click, since
  // the info file that this takes is written back to the disk.
  void runCycle(int number) {
    const bool byTheClick = number % 10 == 9;
    const bool byGoingOnline = !byTheClick && number % 2 == 0;
    fs::remove(infoFile);
    host->setOffline(byGoingOnline);
    ASSERT_EQ(byTheClick ? startAfter(9) : start(), true);
    ASSERT_EQ(learningPalette().is_null(), byGoingOnline || byTheClick);
    host->setOffline(!byGoingOnline);
    ASSERT_EQ(learningPalette().is_null(), byTheClick);
    ASSERT_EQ(host->click("runTeachPalette"), substitute::ClickResult::done);
    ASSERT_FALSE(learningPalette().is_null());
    ASSERT_TRUE(host->message("teachPalete", "\"https://learning.velorin.example/\""));
    ASSERT_EQ(stop(), true);
    unload();
    ASSERT_EQ(substitute::resourceCounts().references, 0) << "in cycle " << number;
    ASSERT_EQ(substitute::resourceCounts().strings, 0) << "in cycle " << number;
  }
};

TEST_F(ManyStarts, LeaveTheProcessAsItWas) {
  constexpr int warmUp = 50;
#if defined(__APPLE__)  // under emulation, which takes ten times as long
  constexpr int cycles = 150;
#else
  constexpr int cycles = 950;
#endif
  for (int i = 0; i < warmUp; ++i) ASSERT_NO_FATAL_FAILURE(runCycle(i));
  const long objects = substitute::resourceCounts().objects;
  const auto before = resources();
  const std::size_t heap = heapInUse();
  for (int i = 0; i < cycles; ++i) ASSERT_NO_FATAL_FAILURE(runCycle(i));
  // Rounding may differ by some bytes. A leak in each tenth cycle is more than three bytes a cycle.
  EXPECT_LT(heapInUse(), heap + cycles) << "needs GLIBC_TUNABLES=glibc.malloc.tcache_count=0";
  EXPECT_EQ(resources(), before);
  EXPECT_EQ(substitute::resourceCounts().objects, objects);
  std::string expected;
  for (int i = 0; i < warmUp + cycles; ++i) expected += "https://learning.velorin.example/\n";
  EXPECT_TRUE(readFile(folder.path() + "/open.runs") == expected);
}

}  // namespace
