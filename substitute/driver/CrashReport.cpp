#include "substitute/driver/CrashReport.h"

#ifdef __linux__
#include <execinfo.h>
#include <sys/syscall.h>
#endif
#include <poll.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <initializer_list>
#include <new>
#include <stdexcept>
#include <system_error>

#include "substitute/driver/ExitStatus.h"
#include "substitute/driver/Text.h"

namespace substitute {

namespace {

CrashRecord* record = nullptr;
bool isSupervised = false;

pid_t process = 0;     // of the host; its child processes inherit the handlers
unsigned seconds = 0;  // that a call of the add-in may take; 0: no limit
FixedString<16> secondsInWords;
bool exits = false;

struct FatalSignal {
  const char* name;
  int number;
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

// Null for a signal of another kind.
const FatalSignal* fatalSignal(int number) {
  for (const FatalSignal& signal : fatalSignals) {
    if (signal.number == number) return &signal;
  }
  return nullptr;
}

void write(int file, const char* string) {
  for (std::size_t left = std::strlen(string); left > 0;) {
    const ssize_t written = ::write(file, string, left);
    if (written <= 0) return;
    string += written;
    left -= static_cast<std::size_t>(written);
  }
}

// Calls `work` in a child process, for a few seconds at most. False when it did not come to its
// end. Safe in a signal handler: nothing here takes a lock.
template <class Work>
bool inChild(Work work) {
#ifdef __linux__
  constexpr unsigned longest = 5;  // in seconds
  const pid_t child = _Fork();
  if (child == 0) {
    for (int number = 1; number < NSIG; ++number) std::signal(number, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    alarm(longest);
    work();
    _exit(EXIT_SUCCESS);
  }
  int status = -1;
  while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return status == 0;
#else
  return false;
#endif
}

// To be called by a handler. Neither is inlined: they are left out of the stack by their number.
// To describe the stack takes memory, and a process that crashed may have corrupt memory. So
// another process does that: the supervisor, or a child, which may fail.
__attribute__((noinline)) void keepStackAndReport(ReportCause cause, const char* detail) {
  constexpr std::size_t callers = 3;  // this function, the handler, and what called it
  keepStack(record->stack, callers);
  if (isSupervised) return;
  const bool isWritten = inChild(
      [&] { writeReport(STDERR_FILENO, *record, cause, detail, describe(record->stack).c_str()); });
  if (!isWritten) writeReport(STDERR_FILENO, *record, cause, detail, nullptr);
}

// SA_RESETHAND has restored the default action: the raised signal ends the process on return.
void onFatalSignal(int number) {
  if (isReported(number, *record)) {
    keepStackAndReport(ReportCause::signal, fatalSignal(number)->name);
  }
  std::raise(number);
}

// Ends the process without another report.
[[noreturn]] void endProcess(int status) {
  exits = true;
  _exit(status);
}

void onTimeout(int /*signal*/) {
  keepStackAndReport(ReportCause::timeout, secondsInWords.get());
  endProcess(exit_status::timedOut);
}

// A scenario must not pass when the add-in ends the process before the scenario's end. A child
// process of the add-in may exit.
__attribute__((noinline)) void onExit() {
  if (exits || process != getpid() || record->underWay.empty()) return;
  exits = true;
  keepStackAndReport(ReportCause::exit, "");
  if (!isSupervised) endProcess(exit_status::failed);
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
  if (record == nullptr) return;
  record->underWay.set(what);
  record->begun = monotonicTime();
  if (seconds > 0) alarm(seconds);
}

void end() {
  if (record == nullptr) return;
  record->underWay.set("");
  record->begun = 0;
  if (seconds > 0) alarm(0);
}

void follow(const Json& entry) {
  record->trace[record->traceLines % record->trace.size()].set(printable(line(entry)));
  ++record->traceLines;
  const auto event = entry.find("event");
  if (event == entry.end()) {
    record->lastCallReturned = true;
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

std::int64_t monotonicTime() {
  constexpr std::int64_t nanosecondsInSecond = 1'000'000'000;
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * nanosecondsInSecond + now.tv_nsec;
}

void writeReport(int file, const CrashRecord& record, ReportCause cause, const char* detail,
                 const char* stack) {
  constexpr const char* causes[] = {
      ": the host is ended by the signal ", ": the add-in ends the process",
      ": a call of the add-in has not returned after the seconds of --timeout: "};
  const auto writeAll = [file](std::initializer_list<const char*> strings) {
    for (const char* const string : strings) write(file, string);
  };
  writeAll({record.program.get(), causes[static_cast<std::size_t>(cause)], detail,
            "\n  last call of the host: "});
  if (record.lastCall.empty()) {
    writeAll({"none"});
  } else {
    writeAll(
        {record.lastCall.get(),
         record.lastCallReturned ? ", which had returned, by " : ", which had not returned, by ",
         record.lastCallMadeBy.get()});
  }
  writeAll(
      {"\n  under way: ", record.underWay.empty() ? "nothing of the add-in" : record.underWay.get(),
       "\n  command: ", record.command.empty() ? "none" : record.command.get(),
       "\n  end of the trace:\n"});
  const std::size_t kept = record.trace.size();
  for (std::size_t i = record.traceLines - std::min(record.traceLines, kept); i < record.traceLines;
       ++i) {
    writeAll({"    ", record.trace[i % kept].get(), "\n"});
  }
  if (record.stack.count == 0) return;
  writeAll({"  stack:\n", stack == nullptr ? "" : stack});
#ifdef __linux__
  if (stack != nullptr) return;
  backtrace_symbols_fd(record.stack.addresses.data(), static_cast<int>(record.stack.count), file);
#endif
}

std::string signalName(int number) {
  if (const FatalSignal* const signal = fatalSignal(number)) return signal->name;
  return number == SIGKILL ? "SIGKILL" : "signal " + std::to_string(number);
}

bool isReported(int number, const CrashRecord& record) {
  const FatalSignal* const signal = fatalSignal(number);
  pollfd output = {STDOUT_FILENO, 0, 0};
  if (number == SIGPIPE && poll(&output, 1, 0) == 1) return false;  // nobody reads the output
  return signal == nullptr || !signal->isSentByOthers || !record.underWay.empty();
}

SharedCrashRecord newCrashRecord() {
  void* const memory =
      mmap(nullptr, sizeof(CrashRecord), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) {
    throw std::runtime_error("there is no memory: " + std::generic_category().message(errno));
  }
  return {new (memory) CrashRecord, [](CrashRecord* done) { munmap(done, sizeof *done); }};
}

void CrashReport::keepFor(CrashRecord& shared) {
  record = &shared;
  isSupervised = true;
}

CrashReport::CrashReport(Host& host, const std::string& program, unsigned timeout)
    : callBegins_(host.interceptor().callBegins.subscribe([](const Operation& operation) {
        record->lastCall.set(nameOf(operation));
        record->lastCallMadeBy = record->underWay;
        record->lastCallReturned = false;
      })),
      trace_(host.interceptor().trace.subscribe(follow)),
      callReturned_(host.callReturned.subscribe(end)) {
  if (record == nullptr) record = newCrashRecord().release();
  record->program.set(program);
  seconds = isSupervised ? 0 : timeout;
  secondsInWords.set(std::to_string(timeout));
  process = getpid();
  // A process that the add-in forks is not the one that is reported on.
  pthread_atfork(nullptr, nullptr, [] { record = newCrashRecord().release(); });
  prepareStack();
  for (const FatalSignal& signal : fatalSignals) {
    if (isIgnored(signal.number)) continue;
    handle(signal.number, onFatalSignal, static_cast<int>(SA_RESETHAND));
  }
  if (seconds > 0) handle(SIGALRM, onTimeout, 0);
  std::atexit(onExit);
#ifdef __linux__  // macOS has none
  std::at_quick_exit(onExit);
#endif
}

void CrashReport::noteCommand(const Command& command) {
  if (record == nullptr) return;
  record->command.set(
      printable(command.place.empty() ? command.line : command.place + ": " + command.line));
}

void CrashReport::noteExit() {
  exits = true;
  begin("the end of the process");
}

CrashReport::Activity::Activity(const char* what) {
  begin(what);
}

CrashReport::Activity::~Activity() {
  end();
}

}  // namespace substitute
