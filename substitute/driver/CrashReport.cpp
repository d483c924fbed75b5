#include "substitute/driver/CrashReport.h"

#ifdef __linux__
#include <sys/syscall.h>
#endif
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>

#include "substitute/driver/ExitStatus.h"
#include "substitute/driver/StackTrace.h"
#include "substitute/driver/Text.h"

namespace substitute {

namespace {

// A string in a place of its own, so that a signal's handler can read it whatever state the process
// is in. What does not fit is cut off.
template <std::size_t size>
class FixedString {
 public:
  void set(const std::string& string) {
    const std::size_t length = std::min(string.size(), size - 1);
    std::memcpy(bytes_.data(), string.data(), length);
    bytes_[length] = '\0';
  }
  const char* get() const { return bytes_.data(); }
  bool empty() const { return bytes_[0] == '\0'; }

 private:
  std::array<char, size> bytes_ = {};
};

using ShortString = FixedString<256>;

// All that the report tells, kept ready.
struct Report {
  ShortString program;
  ShortString underWay;
  ShortString lastCall;
  ShortString lastCallMadeBy;
  bool lastCallReturned = false;
  FixedString<1024> command;
  std::array<FixedString<4096>, 5> trace;
  std::size_t traceLines = 0;  // so far; the last ones are kept, each at its number's remainder
  unsigned seconds = 0;        // that a call of the add-in may take; 0: any
  pid_t process = 0;           // the host's, which may have children of the same program
  ShortString timeout;         // the same in letters
};
Report report;

struct FatalSignal {
  const char* name;
  int number;
  // What others send to the host is told only while a call of the add-in is under way.
  bool isSentByOthers = false;
};
constexpr FatalSignal fatalSignals[] = {
    {"SIGABRT", SIGABRT},
    {"SIGBUS", SIGBUS},
    {"SIGFPE", SIGFPE},
    {"SIGILL", SIGILL},
    {"SIGSEGV", SIGSEGV},
    {"SIGSYS", SIGSYS},
    {"SIGTRAP", SIGTRAP},
    {"SIGALRM", SIGALRM, true},
    {"SIGHUP", SIGHUP, true},
    {"SIGINT", SIGINT, true},
    {"SIGPIPE", SIGPIPE, true},
    {"SIGPROF", SIGPROF, true},
    {"SIGQUIT", SIGQUIT, true},
    {"SIGTERM", SIGTERM, true},
    {"SIGUSR1", SIGUSR1, true},
    {"SIGUSR2", SIGUSR2, true},
    {"SIGVTALRM", SIGVTALRM, true},
    {"SIGXCPU", SIGXCPU, true},
    {"SIGXFSZ", SIGXFSZ, true},
};

void writeLastCall() {
  writeToStandardError("  last call of the host: ");
  if (report.lastCall.empty()) return writeToStandardError("none\n");
  writeToStandardError(report.lastCall.get());
  writeToStandardError(report.lastCallReturned ? ", which had returned, by "
                                               : ", which had not returned, by ");
  writeToStandardError(report.lastCallMadeBy.get());
  writeToStandardError("\n");
}

// All but the stack, which the signal's handler tells itself.
void writeReport(const char* what, const char* detail) {
  writeToStandardError(report.program.get());
  writeToStandardError(what);
  writeToStandardError(detail);
  writeToStandardError("\n");
  writeLastCall();
  writeToStandardError("  under way: ");
  writeToStandardError(report.underWay.empty() ? "nothing of the add-in" : report.underWay.get());
  writeToStandardError("\n  command: ");
  writeToStandardError(report.command.empty() ? "none" : report.command.get());
  writeToStandardError("\n  end of the trace:\n");
  const std::size_t kept = report.trace.size();
  for (std::size_t i = report.traceLines - std::min(report.traceLines, kept); i < report.traceLines;
       ++i) {
    writeToStandardError("    ");
    writeToStandardError(report.trace[i % kept].get());
    writeToStandardError("\n");
  }
}

// The signal has its usual action again: sent once more it ends the process when this returns.
void onFatalSignal(int number) {
  const auto* const signal =
      std::find_if(std::begin(fatalSignals), std::end(fatalSignals),
                   [number](const FatalSignal& one) { return one.number == number; });
  if (!signal->isSentByOthers || !report.underWay.empty()) {
    writeReport(": the host is ended by the signal ", signal->name);
    writeStackTrace();
  }
  std::raise(number);
}

// Ends the process in spite of what is under way.
[[noreturn]] void endProcess(int status) {
  report.underWay.set("");
  _exit(status);
}

void onTimeout(int /*signal*/) {
  writeReport(": a call of the add-in has not returned after the seconds of --timeout: ",
              report.timeout.get());
  writeStackTrace();
  endProcess(exit_status::timedOut);
}

// An add-in that ends the process must not pass for a scenario that came to its end. A child of the
// add-in's may end as it likes. Not inlined: the stack begins behind this function and its caller.
__attribute__((noinline)) void onExit() {
  if (report.underWay.empty() || report.process != getpid()) return;
  writeReport(": the add-in ends the process", "");
  writeStackTrace();
  endProcess(exit_status::failed);
}

// True for what a shell's `nohup` or `&` has made the process ignore.
bool isIgnored(int signal) {
  struct sigaction action = {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

void handle(int signal, void (*handler)(int), int flags) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = SA_ONSTACK | flags;
  sigemptyset(&action.sa_mask);
  sigaction(signal, &action, nullptr);
}

void begin(const std::string& what) {
  report.underWay.set(what);
  if (report.seconds > 0) alarm(report.seconds);
}

void end() {
  report.underWay.set("");
  if (report.seconds > 0) alarm(0);
}

void follow(const Json& entry) {
  report.trace[report.traceLines % report.trace.size()].set(printable(line(entry)));
  ++report.traceLines;
  const auto event = entry.find("event");
  if (event == entry.end()) {
    report.lastCallReturned = true;
  } else if (*event == "run" || *event == "stop") {
    begin(event->get<std::string>());
  } else if (*event == "notify") {
    begin(entry["handler"].get<std::string>());
  }
}

}  // namespace

#ifdef __linux__
// The system's functions of these names, which the loader finds in the program first. On a Mac each
// library is bound to the system's own.
extern "C" void _exit(int status) {
  onExit();
  while (true) syscall(SYS_exit_group, status);
}

extern "C" void _Exit(int status) noexcept {
  onExit();
  while (true) syscall(SYS_exit_group, status);
}
#endif

std::string signalName(int number) {
  for (const FatalSignal& signal : fatalSignals) {
    if (signal.number == number) return signal.name;
  }
  return number == SIGKILL ? "SIGKILL" : "signal " + std::to_string(number);
}

CrashReport::CrashReport(Host& host, const std::string& program, unsigned timeout)
    : callBegins_(host.interceptor().callBegins.subscribe([](const Operation& operation) {
        report.lastCall.set(nameOf(operation));
        report.lastCallMadeBy = report.underWay;
        report.lastCallReturned = false;
      })),
      trace_(host.interceptor().trace.subscribe(follow)),
      callReturned_(host.callReturned.subscribe(end)) {
  report.program.set(program);
  report.seconds = timeout;
  report.timeout.set(std::to_string(timeout));
  report.process = getpid();
  prepareStackTrace();
  for (const FatalSignal& signal : fatalSignals) {
    if (isIgnored(signal.number)) continue;
    handle(signal.number, onFatalSignal, static_cast<int>(SA_RESETHAND));
  }
  if (timeout > 0) handle(SIGALRM, onTimeout, 0);
  std::atexit(onExit);
#ifdef __linux__  // macOS has none
  std::at_quick_exit(onExit);
#endif
}

void CrashReport::noteCommand(const Command& command) {
  report.command.set(
      printable(command.place.empty() ? command.line : command.place + ": " + command.line));
}

CrashReport::Activity::Activity(const char* what) {
  begin(what);
}

CrashReport::Activity::~Activity() {
  end();
}

}  // namespace substitute
