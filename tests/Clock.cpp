#include "tests/Clock.h"

std::optional<std::time_t> setClock;

// This program's own `time`, which the library finds before the system's.
#if !defined(__APPLE__)
extern "C" __attribute__((visibility("default"))) std::time_t time(std::time_t* result) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const std::time_t seconds = setClock.value_or(now.tv_sec);
  if (result != nullptr) *result = seconds;
  return seconds;
}
#endif
