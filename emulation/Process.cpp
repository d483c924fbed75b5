// The process, its environment and its children.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "System.h"

namespace {

// The number of the signal that ended or stopped a child is converted.
int statusToMac(int status) {
  if (WIFSIGNALED(status)) {
    return (status & ~0x7f) | emulation::signalToMac(WTERMSIG(status));
  }
  if (WIFSTOPPED(status)) return emulation::signalToMac(WSTOPSIG(status)) << 8 | 0x7f;
  return status;
}

pid_t macWaitpid(pid_t child, int* status, int options) {
  int own = 0;
  const pid_t ended = waitpid(child, &own, options);
  if (ended > 0 && status != nullptr) *status = statusToMac(own);
  return ended;
}

// The shell is Linux's own.
int macSystem(const char* command) {
  const int status = std::system(command);
  return command == nullptr || status == -1 ? status : statusToMac(status);
}

int macPclose(FILE* stream) {
  const int status = pclose(stream);
  return status == -1 ? status : statusToMac(status);
}

// What a failed assertion prints on macOS.
[[noreturn]] void assertionFailed(const char* function, const char* file, int line,
                                  const char* expression) {
  std::fprintf(stderr, "Assertion failed: (%s), function %s, file %s, line %d.\n", expression,
               function, file, line);
  std::abort();
}

[[noreturn]] void stackOverwritten() {
  std::fputs("The stack was overwritten.\n", stderr);
  std::abort();
}

// Any value will do.
std::uint64_t stackGuard = 0x0d0a00ff5bd1e995;

// --- The kernel's view of the threads, which GoogleTest counts before it forks: there is one.

std::uint32_t taskSelf = 1;
std::uint32_t oneThread = 1;

int taskThreads(std::uint32_t /*task*/, std::uint32_t** threads, std::uint32_t* count) {
  *threads = &oneThread;
  *count = 1;
  return 0;
}

int vmDeallocate(std::uint32_t /*task*/, std::uint64_t /*address*/, std::uint64_t /*size*/) {
  return 0;
}

}  // namespace

namespace emulation {

SystemNames processFunctions() {
  return {supply("_waitpid", macWaitpid),
          supply("_system", macSystem),
          supply("_pclose", macPclose),
          supply("___assert_rtn", assertionFailed),
          supply("___stack_chk_fail", stackOverwritten),
          supply("___stack_chk_guard", &stackGuard),
          supply("_mach_task_self_", &taskSelf),
          supply("_task_threads", taskThreads),
          supply("_vm_deallocate", vmDeallocate)};
}

}  // namespace emulation
