// Signals.
//
// macOS sends and handles signals as POSIX has it. Many have other numbers, a set of them is a word
// of 32 bits, and the record of an action has another layout. Here Linux keeps the actions and the
// mask. It calls one handler for all signals, which calls the program's with macOS's number.
#include <sys/select.h>

#include <cerrno>
#include <csignal>
#include <cstdint>

#include "Numbers.h"

using emulation::Pair;
using emulation::signalToLinux;
using emulation::signalToMac;

using Handler = void (*)(int number);

struct MacSigaction {
  Handler handler;
  std::uint32_t mask;
  std::int32_t flags;
};

namespace {

// The others have the same numbers. Each system lacks two that the other has.
constexpr Pair signals[] = {{7, SIGSTKFLT}, {10, SIGBUS},  {12, SIGSYS},  {16, SIGURG},
                            {17, SIGSTOP},  {18, SIGTSTP}, {19, SIGCONT}, {20, SIGCHLD},
                            {23, SIGIO},    {29, SIGPWR},  {30, SIGUSR1}, {31, SIGUSR2}};
constexpr int signalsEnd = 32;

constexpr Pair maskChanges[] = {{1, SIG_BLOCK}, {2, SIG_UNBLOCK}, {3, SIG_SETMASK}};

constexpr int restart = 0x2;
constexpr Pair actionFlags[] = {
    {0x1, SA_ONSTACK},   {restart, SA_RESTART}, {0x4, static_cast<int>(SA_RESETHAND)},
    {0x8, SA_NOCLDSTOP}, {0x10, SA_NODEFER},    {0x20, SA_NOCLDWAIT}};

sigset_t setToLinux(std::uint32_t set) {
  sigset_t converted;
  sigemptyset(&converted);
  for (int number = 1; number < signalsEnd; ++number) {
    if ((set >> (number - 1) & 1U) != 0) sigaddset(&converted, signalToLinux(number));
  }
  return converted;
}

std::uint32_t setToMac(const sigset_t& set) {
  std::uint32_t converted = 0;
  for (int number = 1; number < signalsEnd; ++number) {
    if (sigismember(&set, signalToLinux(number)) == 1) converted |= 1U << (number - 1);
  }
  return converted;
}

// The program's, by macOS's numbers.
Handler handlers[signalsEnd];

void onSignal(int number) {
  const int macNumber = signalToMac(number);
  handlers[macNumber](macNumber);
}

}  // namespace

int emulation::signalToMac(int number) {
  return numberToMac(signals, number, number);
}

int emulation::signalToLinux(int number) {
  return numberToLinux(signals, number, number);
}

extern "C" {

int mac_sigprocmask(int change, const std::uint32_t* set, std::uint32_t* before) {
  const sigset_t own = setToLinux(set == nullptr ? 0 : *set);
  sigset_t previous;
  const int ownChange = emulation::numberToLinux(maskChanges, change, -1);
  const int result = sigprocmask(ownChange, set == nullptr ? nullptr : &own, &previous);
  if (result == 0 && before != nullptr) *before = setToMac(previous);
  return result;
}

int mac_sigaction(int number, const MacSigaction* action, MacSigaction* before) {
  if (number <= 0 || number >= signalsEnd) {
    errno = EINVAL;
    return -1;
  }
  const Handler previousHandler = handlers[number];
  struct sigaction own {};
  if (action != nullptr) {
    const bool handled = action->handler != SIG_DFL && action->handler != SIG_IGN;
    if (handled) handlers[number] = action->handler;
    own.sa_handler = handled ? onSignal : action->handler;
    own.sa_mask = setToLinux(action->mask);
    own.sa_flags = emulation::flagsToLinux(actionFlags, action->flags, "sigaction");
  }
  struct sigaction previous {};
  const int result =
      sigaction(signalToLinux(number), action == nullptr ? nullptr : &own, &previous);
  if (result == 0 && before != nullptr) {
    const bool handled = previous.sa_handler == onSignal;
    *before = {handled ? previousHandler : previous.sa_handler, setToMac(previous.sa_mask),
               emulation::flagsToMac(actionFlags, previous.sa_flags)};
  }
  return result;
}

Handler mac_signal(int number, Handler handler) {
  const MacSigaction action{handler, 0, restart};
  MacSigaction before{};
  return mac_sigaction(number, &action, &before) == 0 ? before.handler : SIG_ERR;
}

// Sets of file descriptors have one layout: a bit each, the lowest first.
int mac_pselect(int count, fd_set* toRead, fd_set* toWrite, fd_set* exceptional,
                const timespec* timeout, const std::uint32_t* mask) {
  const sigset_t own = setToLinux(mask == nullptr ? 0 : *mask);
  return pselect(count, toRead, toWrite, exceptional, timeout, mask == nullptr ? nullptr : &own);
}

int mac_kill(pid_t process, int number) {
  return kill(process, signalToLinux(number));
}

int mac_raise(int number) {
  return raise(signalToLinux(number));
}

}  // extern "C"

EMULATION_CONVERTED("kill, pselect, raise, sigaction, signal, sigprocmask");
