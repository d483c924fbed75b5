#include "substitute/driver/CrashReport.h"

#ifdef __linux__
#include <elfutils/libdwfl.h>
#include <execinfo.h>
#include <fcntl.h>
#include <sys/syscall.h>
#endif
#include <poll.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <initializer_list>
#include <new>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "substitute/driver/Errors.h"
#include "substitute/driver/Text.h"

namespace substitute {

namespace {

CrashRecord* kept = nullptr;  // what this process keeps; null until there is a host
bool isSupervised = false;
pid_t hostProcess = 0;  // the host's; its child processes inherit the handlers
unsigned seconds = 0;   // that a call of the add-in may take; 0: no limit
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

#ifdef __linux__
std::array<char, 262144> handlersStack;  // enough for a whole report

// The line for the function that `address` returns to. The call is before that address.
std::string describe(Dwfl* process, const void* address) {
  const auto place = reinterpret_cast<Dwarf_Addr>(address);
  Dwfl_Module* const module = dwfl_addrmodule(process, place - 1);
  Dwarf_Addr begin = 0;
  std::ostringstream line;
  line << "    ";
  if (module != nullptr) {
    const char* const function = dwfl_module_addrname(module, place - 1);
    const char* const file =
        dwfl_module_info(module, nullptr, &begin, nullptr, nullptr, nullptr, nullptr, nullptr);
    if (function != nullptr) line << demangled(function) << " in ";
    line << std::filesystem::path(file).filename().string() << " at ";
  }
  line << "0x" << std::hex << place - begin << '\n';
  return line.str();
}
#endif

// To be called once before keepStack(). Also sets an alternate stack for signal handlers, which
// they need when the stack has overflowed.
void prepareStack() {
#ifdef __linux__
  std::array<void*, 1> first = {};
  backtrace(first.data(), 1);  // its first call loads a library, which a handler must not do
  stack_t stack = {};
  stack.ss_sp = handlersStack.data();
  stack.ss_size = handlersStack.size();
  sigaltstack(&stack, nullptr);
#endif
}

// Keeps the stack of this process, without this function and its `callers` innermost callers. Safe
// in a signal handler. macOS writes a report with the stack itself.
__attribute__((noinline)) void keepStack([[maybe_unused]] StackTrace& stack,
                                         [[maybe_unused]] std::size_t callers) {
#ifdef __linux__
  auto& addresses = stack.addresses;
  const int found = backtrace(addresses.data(), static_cast<int>(addresses.size()));
  auto* const end = addresses.data() + found;
  auto* const first = std::min(addresses.data() + callers + 1, end);
  stack.count = static_cast<std::size_t>(end - first);
  std::move(first, end, addresses.data());
  const int file = open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
  std::size_t length = 0;
  for (ssize_t got = 1; got > 0 && length < stack.mappings.size() - 1;) {
    got = read(file, stack.mappings.data() + length, stack.mappings.size() - 1 - length);
    length += static_cast<std::size_t>(std::max<ssize_t>(got, 0));
  }
  stack.mappings[length] = '\0';
  close(file);
#endif
}

// A line for each function; functions that are not exported are named, too.
std::string describe([[maybe_unused]] const StackTrace& stack) {
  std::string lines;
#ifdef __linux__
  // Nothing but the loaded files is read: a search for separate debug files may use the network.
  const auto findNone = [](Dwfl_Module*, void**, const char*, Dwarf_Addr, const char*, const char*,
                           GElf_Word, char**) { return -1; };
  const Dwfl_Callbacks callbacks = {dwfl_linux_proc_find_elf, findNone, nullptr, nullptr};
  const std::unique_ptr<Dwfl, void (*)(Dwfl*)> process(dwfl_begin(&callbacks), &dwfl_end);
  std::string mappings(stack.mappings.data(), stack.mappings.size());
  mappings.resize(std::min(mappings.find('\0'), mappings.size()));
  std::FILE* const file = fmemopen(mappings.data(), mappings.rfind('\n') + 1, "r");
  if (file == nullptr) return "";
  dwfl_linux_proc_maps_report(process.get(), file);
  dwfl_report_end(process.get(), nullptr, nullptr);
  std::fclose(file);
  for (std::size_t i = 0; i < std::min(stack.count, stack.addresses.size()); ++i) {
    lines += describe(process.get(), stack.addresses[i]);
  }
#endif
  return lines;
}

// Safe in a signal handler.
void writeAll(int file, std::initializer_list<std::string_view> strings) {
  for (const std::string_view string : strings) {
    static_cast<void>(!write(file, string.data(), string.size()));
  }
}

// To be called by a handler. Neither is inlined: they are left out of the stack by their number.
// To describe the stack takes memory, and a process that crashed may have corrupt memory. So
// another process does that: the supervisor, or a child, which may fail. Nothing else here takes a
// lock.
__attribute__((noinline)) void keepStackAndReport(std::string_view cause, std::string_view detail) {
  constexpr std::size_t callers = 3;  // this function, the handler, and what called it
  keepStack(kept->stack, callers);
  if (isSupervised) return;
  writeReport(STDERR_FILENO, *kept, cause, detail);
#ifdef __linux__
  const pid_t child = _Fork();
  if (child == 0) {
    constexpr unsigned longest = 5;  // in seconds
    std::signal(SIGALRM, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    alarm(longest);
    writeStack(STDERR_FILENO, *kept);
    _exit(EXIT_SUCCESS);
  }
  while (child > 0 && waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
  }
#endif
}

// SA_RESETHAND has restored the default action: the raised signal ends the process on return.
void onFatalSignal(int number) {
  const char* const name = fatalSignal(number)->name;
  if (isReported(number, *kept)) keepStackAndReport(report_cause::signal, name);
  std::raise(number);
}

// Ends the process without another report.
[[noreturn]] void endProcess(int status) {
  exits = true;
  _exit(status);
}

void onTimeout(int /*signal*/) {
  keepStackAndReport(report_cause::timeout, secondsInWords.get());
  endProcess(exit_status::timedOut);
}

// A scenario must not pass when the add-in ends the process before the scenario's end. A child
// process of the add-in may exit.
__attribute__((noinline)) void onExit() {
  if (exits || hostProcess != getpid() || kept->underWay.empty()) return;
  exits = true;
  keepStackAndReport(report_cause::exit, "");
  if (!isSupervised) endProcess(exit_status::failed);
}

// Does nothing for a signal that a shell's `nohup` or `&` has made the process ignore.
void handle(int signal, void (*handler)(int), int flags) {
  struct sigaction action = {};
  sigaction(signal, nullptr, &action);
  if (action.sa_handler == SIG_IGN) return;
  action.sa_handler = handler;
  action.sa_flags = SA_ONSTACK | flags;
  sigemptyset(&action.sa_mask);
  sigaction(signal, &action, nullptr);
}

// A call of the add-in has returned. It may do so in a copy of the process that it has made.
void endCall() {
  if (hostProcess == getpid()) return CrashReport::noteActivity("");
  writeAll(STDERR_FILENO,
           {"The add-in has forked the process. The copy ends where it returns to the host.\n"});
  endProcess(exit_status::failed);
}

void follow(const Json& entry) {
  kept->trace[kept->traceLines % kept->trace.size()].set(printable(line(entry)));
  ++kept->traceLines;
  const auto event = entry.find("event");
  if (event == entry.end()) {
    kept->lastCallReturned = true;
  } else if (*event == "run" || *event == "stop") {
    CrashReport::noteActivity(*event);
  } else if (*event == "notify") {
    CrashReport::noteActivity(entry["handler"]);
  }
}

}  // namespace

#ifdef __linux__
// These replace the system's functions for all libraries, since the loader looks in the program
// first. On a Mac each library is bound to the system's functions.
extern "C" __attribute__((noreturn)) void _exit(int status) {
  onExit();
  while (true) syscall(SYS_exit_group, status);
}

extern "C" __attribute__((noreturn)) void _Exit(int status) noexcept {
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

void writeReport(int file, const CrashRecord& record, std::string_view cause,
                 std::string_view detail) {
  const auto orElse = [](const auto& string, std::string_view none) {
    return string.empty() ? none : string.get();
  };
  writeAll(file, {record.program.get(), cause, detail,
                  "\n  last call of the host: ", orElse(record.lastCall, "none")});
  if (!record.lastCall.empty()) {
    writeAll(file, {record.lastCallReturned ? ", which had returned, by "
                                            : ", which had not returned, by ",
                    record.lastCallMadeBy.get()});
  }
  writeAll(file, {"\n  under way: ", orElse(record.underWay, "nothing of the add-in"),
                  "\n  command: ", orElse(record.command, "none"), "\n  end of the trace:\n"});
  const std::size_t lines = record.trace.size();
  for (std::size_t i = record.traceLines - std::min(record.traceLines, lines);
       i < record.traceLines; ++i) {
    writeAll(file, {"    ", record.trace[i % lines].get(), "\n"});
  }
}

void writeStack(int file, const CrashRecord& record) {
  if (record.stack.count > 0) writeAll(file, {"  stack:\n", describe(record.stack)});
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

void CrashReport::keepFor(CrashRecord& record) {
  kept = &record;
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
  hostProcess = getpid();
  // A process that the add-in forks is not the one that is reported on.
  pthread_atfork(nullptr, nullptr, [] { kept = newCrashRecord().release(); });
  prepareStack();
  for (const FatalSignal& signal : fatalSignals) {
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

void CrashReport::noteActivity(const std::string& what) {
  if (kept == nullptr) return;
  kept->underWay.set(what);
  kept->begun = what.empty() && !kept->isTimedBetween ? 0 : monotonicTime();
  if (seconds > 0) alarm(what.empty() ? 0 : seconds);
}

void CrashReport::noteExit() {
  exits = true;
  noteActivity("the end of the process");
}

}  // namespace substitute
