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

// A string in a fixed buffer, which a signal handler can read in any state of the process. A longer
// string is truncated.
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

// The content of the report. A signal handler only writes it.
struct Report {
  ShortString program;
  ShortString underWay;
  ShortString lastCall;
  ShortString lastCallMadeBy;
  bool lastCallReturned = false;
  FixedString<1024> command;
  std::array<FixedString<4096>, 5> trace;
  std::size_t traceLines = 0;  // so far; line i is kept at i % trace.size()
  unsigned seconds = 0;        // that a call of the add-in may take; 0: no limit
  pid_t process = 0;           // of the host; its child processes inherit this report
  ShortString timeout;         // `seconds` as a string
};
Report report;

struct FatalSignal {
  const char* name;
  int number;
  // Other processes send such a signal. It is reported only during a call of the add-in.
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

// All but the stack, which the signal handler writes itself.
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

// SA_RESETHAND has restored the default action: the raised signal ends the process on return.
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

// Ends the process without another report.
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

// A scenario must not pass when the add-in ends the process before the scenario's end. A child
// process of the add-in may exit. Not inlined: writeStackTrace() leaves out this function and its
// caller.
__attribute__((noinline)) void onExit() {
  if (report.underWay.empty() || report.process != getpid()) return;
  writeReport(": the add-in ends the process", "");
  writeStackTrace();
  endProcess(exit_status::failed);
}

// True for a signal that a shell's `nohup` or `&` has made the process ignore.
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
// These replace the system's functions for all libraries, since the loader looks in the program
// first. On a Mac each library is bound to the system's functions.
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
