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

CrashRecord* kept = nullptr;  // what this process keeps; null until there is a host
bool isSupervised = false;
pid_t process = 0;     // of the host; its child processes inherit the handlers
unsigned seconds = 0;  // that a call of the add-in may take; 0: no limit
FixedString<16> secondsInWords;
bool exits = false;

struct FatalSignal {
  const char* name;
  int number;
  bool isSentByOthers;
};
constexpr FatalSignal fatalSignals[] = {
    {"SIGABRT", SIGABRT, false}, {"SIGBUS", SIGBUS, false},   {"SIGFPE", SIGFPE, false},
    {"SIGILL", SIGILL, false},   {"SIGSEGV", SIGSEGV, false}, {"SIGSYS", SIGSYS, false},
    {"SIGTRAP", SIGTRAP, false}, {"SIGALRM", SIGALRM, true},  {"SIGHUP", SIGHUP, true},
    {"SIGINT", SIGINT, true},    {"SIGPIPE", SIGPIPE, true},  {"SIGPROF", SIGPROF, true},
    {"SIGQUIT", SIGQUIT, true},  {"SIGTERM", SIGTERM, true},  {"SIGUSR1", SIGUSR1, true},
    {"SIGUSR2", SIGUSR2, true},  {"SIGXCPU", SIGXCPU, true},  {"SIGVTALRM", SIGVTALRM, true},
    {"SIGXFSZ", SIGXFSZ, true},  {"SIGKILL", SIGKILL, true}};

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

// To be called by a handler. Neither is inlined: they are left out of the stack by their number.
// To describe the stack takes memory, and a process that crashed may have corrupt memory. So
// another process does that: the supervisor, or a child, which may fail. Nothing else here takes a
// lock.
__attribute__((noinline)) void keepStackAndReport(ReportCause cause, const char* detail) {
  constexpr std::size_t callers = 3;  // this function, the handler, and what called it
  keepStack(kept->stack, callers);
  if (isSupervised) return;
  int status = -1;
#ifdef __linux__
  const pid_t child = _Fork();
  if (child == 0) {
    constexpr unsigned longest = 5;  // in seconds
    std::signal(SIGALRM, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    alarm(longest);
    writeReport(STDERR_FILENO, *kept, cause, detail, describe(kept->stack).c_str());
    _exit(EXIT_SUCCESS);
  }
  while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
#endif
  if (status != 0) writeReport(STDERR_FILENO, *kept, cause, detail, nullptr);
}

// SA_RESETHAND has restored the default action: the raised signal ends the process on return.
void onFatalSignal(int number) {
  if (isReported(number, *kept)) {
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
  if (exits || process != getpid() || kept->underWay.empty()) return;
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
  if (kept == nullptr) return;
  kept->underWay.set(what);
  kept->begun = monotonicTime();
  if (seconds > 0) alarm(seconds);
}

void end() {
  if (kept == nullptr) return;
  kept->underWay.set("");
  kept->begun = kept->isTimedBetween ? monotonicTime() : 0;
  if (seconds > 0) alarm(0);
}

void endCall() {
  if (process == getpid()) return end();
  write(STDERR_FILENO,
        "The add-in has forked the process. The copy ends where it returns to the host.\n");
  endProcess(exit_status::failed);
}

void follow(const Json& entry) {
  kept->trace[kept->traceLines % kept->trace.size()].set(printable(line(entry)));
  ++kept->traceLines;
  const auto event = entry.find("event");
  if (event == entry.end()) {
    kept->lastCallReturned = true;
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
      ": a call of the add-in has not returned after the seconds of --timeout: ",
      ": a call of the add-in has not returned and is ended"};
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
  const std::size_t lines = record.trace.size();
  for (std::size_t i = record.traceLines - std::min(record.traceLines, lines);
       i < record.traceLines; ++i) {
    writeAll({"    ", record.trace[i % lines].get(), "\n"});
  }
  if (record.stack.count == 0) return;
  writeAll({"  stack:\n", stack == nullptr ? "" : stack});
#ifdef __linux__
  if (stack != nullptr) return;
  backtrace_symbols_fd(record.stack.addresses.data(), static_cast<int>(record.stack.count), file);
#endif
}

std::string signalName(int number) {
  const FatalSignal* const signal = fatalSignal(number);
  return signal != nullptr ? signal->name : "signal " + std::to_string(number);
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
  kept = &shared;
  isSupervised = true;
}

CrashReport::CrashReport(Host& host, const std::string& program, unsigned timeout)
    : callBegins_(host.interceptor().callBegins.subscribe([](const Operation& operation) {
        kept->lastCall.set(nameOf(operation));
        kept->lastCallMadeBy = kept->underWay;
        kept->lastCallReturned = false;
      })),
      trace_(host.interceptor().trace.subscribe(follow)),
      callReturned_(host.callReturned.subscribe(endCall)) {
  if (kept == nullptr) kept = newCrashRecord().release();
  kept->program.set(program);
  seconds = isSupervised ? 0 : timeout;
  secondsInWords.set(std::to_string(timeout));
  process = getpid();
  // A process that the add-in forks is not the one that is reported on.
  pthread_atfork(nullptr, nullptr, [] { kept = newCrashRecord().release(); });
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
  if (kept == nullptr) return;
  kept->command.set(
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
