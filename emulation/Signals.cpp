// Signals, of which many have other numbers.
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "System.h"

namespace {

struct Pair {
  int linux;
  int mac;
};

constexpr Pair differing[] = {{SIGBUS, 10},  {SIGSYS, 12},  {SIGURG, 16},  {SIGSTOP, 17},
                              {SIGTSTP, 18}, {SIGCONT, 19}, {SIGCHLD, 20}, {SIGIO, 23},
                              {SIGUSR1, 30}, {SIGUSR2, 31}};
constexpr int signals = 32;

using Handler = void (*)(int number);

struct MacSigaction {
  Handler handler;
  std::uint32_t mask;
  std::int32_t flags;
};

// The program's actions, by macOS's numbers; handlers get such a number.
MacSigaction actions[signals];

constexpr std::uint32_t bitOf(int macSignal) {
  return 1U << (macSignal - 1);
}

sigset_t maskToLinux(std::uint32_t mask) {
  sigset_t converted;
  sigemptyset(&converted);
  for (int number = 1; number < signals; ++number) {
    if ((mask & bitOf(number)) != 0) sigaddset(&converted, emulation::signalToLinux(number));
  }
  return converted;
}

void onSignal(int number) {
  const int macNumber = emulation::signalToMac(number);
  actions[macNumber].handler(macNumber);
}

constexpr Pair actionFlags[] = {{SA_ONSTACK, 0x1},
                                {SA_RESTART, 0x2},
                                {static_cast<int>(SA_RESETHAND), 0x4},
                                {SA_NOCLDSTOP, 0x8},
                                {SA_NODEFER, 0x10}};

int macSigaction(int number, const MacSigaction* action, MacSigaction* before) {
  constexpr int detailed = 0x40;  // a handler that is told more than the number is not supported
  if (number <= 0 || number >= signals || (action != nullptr && (action->flags & detailed) != 0)) {
    errno = EINVAL;
    return -1;
  }
  if (before != nullptr) *before = actions[number];
  if (action == nullptr) return 0;
  struct sigaction own {};
  const bool handled = action->handler != SIG_DFL && action->handler != SIG_IGN;
  own.sa_handler = handled ? onSignal : action->handler;
  for (const Pair& flag : actionFlags) {
    if ((action->flags & flag.mac) != 0) own.sa_flags |= flag.linux;
  }
  own.sa_mask = maskToLinux(action->mask);
  const MacSigaction previous = actions[number];
  actions[number] = *action;
  const int result = sigaction(emulation::signalToLinux(number), &own, nullptr);
  if (result != 0) actions[number] = previous;
  return result;
}

Handler macSignal(int number, Handler handler) {
  constexpr int restart = 0x2;
  const MacSigaction action{handler, 0, restart};
  MacSigaction before{};
  return macSigaction(number, &action, &before) == 0 ? before.handler : SIG_ERR;
}

int macKill(pid_t process, int number) {
  return kill(process, emulation::signalToLinux(number));
}

int macRaise(int number) {
  return raise(emulation::signalToLinux(number));
}

}  // namespace

namespace emulation {

int signalToMac(int number) {
  for (const Pair& pair : differing) {
    if (pair.linux == number) return pair.mac;
  }
  return number;
}

int signalToLinux(int number) {
  for (const Pair& pair : differing) {
    if (pair.mac == number) return pair.linux;
  }
  return number;
}

SystemNames signalFunctions() {
  return {supply("_sigaction", macSigaction), supply("_signal", macSignal),
          supply("_kill", macKill), supply("_raise", macRaise)};
}

}  // namespace emulation
