// Clocks and calendar. The record of a calendar time is the same.
#include <sys/time.h>

#include <cerrno>
#include <ctime>

#include "System.h"

namespace {

struct Clock {
  int mac;
  clockid_t linux;
};

constexpr Clock clocks[] = {{0, CLOCK_REALTIME},          {4, CLOCK_MONOTONIC_RAW},
                            {5, CLOCK_MONOTONIC_COARSE},  {6, CLOCK_MONOTONIC},
                            {8, CLOCK_MONOTONIC_RAW},     {12, CLOCK_PROCESS_CPUTIME_ID},
                            {16, CLOCK_THREAD_CPUTIME_ID}};

int macClockGettime(int clock, timespec* time) {
  for (const Clock& known : clocks) {
    if (known.mac == clock) return clock_gettime(known.linux, time);
  }
  errno = EINVAL;
  return -1;
}

}  // namespace

namespace emulation {

SystemNames timeFunctions() {
  return {supply("_clock_gettime", macClockGettime)};
}

}  // namespace emulation
