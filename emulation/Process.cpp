// The process, its children, its limits and its clocks.
//
// macOS makes, groups and awaits processes as POSIX has it. The status of a child holds macOS's
// number of a signal; limits and clocks have other numbers. Here those are converted. The processes
// are Linux's own, and so is the shell that they start.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "Numbers.h"
#include "System.h"

using emulation::Pair;

constexpr Pair waitFlags[] = {{0x1, WNOHANG}, {0x2, WUNTRACED}};
constexpr Pair limits[] = {{29, _SC_PAGESIZE}, {58, _SC_NPROCESSORS_ONLN}};
constexpr Pair clocks[] = {{0, CLOCK_REALTIME}, {4, CLOCK_MONOTONIC_RAW}, {6, CLOCK_MONOTONIC}};

static int statusToMac(int status) {
  constexpr int stopped = 0x7f;
  if (WIFSTOPPED(status)) return emulation::signalToMac(WSTOPSIG(status)) << 8 | stopped;
  if (WIFSIGNALED(status)) return (status & ~0x7f) | emulation::signalToMac(WTERMSIG(status));
  return status;
}

extern "C" {

pid_t mac_waitpid(pid_t child, int* status, int options) {
  int own = 0;
  const pid_t ended = waitpid(child, &own, emulation::flagsToLinux(waitFlags, options, "waitpid"));
  if (ended > 0 && status != nullptr) *status = statusToMac(own);
  return ended;
}

int mac_system(const char* command) {
  const int status = std::system(command);
  return command == nullptr || status == -1 ? status : statusToMac(status);
}

int mac_pclose(FILE* stream) {
  const int status = pclose(stream);
  return status == -1 ? status : statusToMac(status);
}

// An unknown number is one to Linux, too.
long mac_sysconf(int name) {
  return sysconf(emulation::numberToLinux(limits, name, -1));
}

int mac_clock_gettime(int clock, timespec* time) {
  constexpr int unknown = 0x7fffffff;
  return clock_gettime(emulation::numberToLinux(clocks, clock, unknown), time);
}

// Prints what a failed assertion prints on macOS.
[[noreturn]] void mac___assert_rtn(const char* function, const char* file, int line,
                                   const char* expression) {
  std::fprintf(stderr, "Assertion failed: (%s), function %s, file %s, line %d.\n", expression,
               function, file, line);
  std::abort();
}

}  // extern "C"

EMULATION_CONVERTED("__assert_rtn, clock_gettime, pclose, sysconf, system, waitpid");
EMULATION_SAME(
    "_exit, abort, execv, exit, fork, getenv, geteuid, getpgid, getpgrp, getpid, localtime, "
    "localtime_r, nanosleep, popen, setenv, setgid, setgroups, setpgid, setrlimit, setuid, "
    "strftime, time");
