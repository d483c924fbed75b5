#include "substitute/driver/CrashReport.h"

#ifdef __linux__
#include <elfutils/libdwfl.h>
#include <execinfo.h>
#include <fcntl.h>
#endif
#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <new>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "substitute/driver/Errors.h"
#include "substitute/driver/Text.h"

namespace substitute {

namespace {

CrashRecord* kept = nullptr;
pid_t keeper = 0;  // the process that keeps it

// What this process keeps; null for none, as in a process that the add-in has forked.
CrashRecord* ownRecord() {
  return getpid() == keeper ? kept : nullptr;
}

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

// SA_RESETHAND has restored the default action: the raised signal ends the process on return.
// macOS writes a report with the stack itself.
void onFatalSignal(int number) {
#ifdef __linux__
  if (CrashRecord* const record = ownRecord()) {
    const auto capacity = static_cast<int>(record->stack.size());
    record->depth = static_cast<std::size_t>(backtrace(record->stack.data(), capacity));
    const int file = open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
    std::size_t length = 0;
    for (ssize_t got = 1; got > 0 && length < record->mappings.size() - 1;) {
      got = read(file, &record->mappings[length], record->mappings.size() - 1 - length);
      length += static_cast<std::size_t>(std::max<ssize_t>(got, 0));
    }
    record->mappings[length] = '\0';
    close(file);
  }
#endif
  std::raise(number);
}

#ifdef __linux__
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

// A line for each function; functions that are not exported are named, too. Empty when no stack
// was kept.
std::string stackIn([[maybe_unused]] const CrashRecord& record) {
  std::string lines;
#ifdef __linux__
  // Nothing but the loaded files is read: a search for separate debug files may use the network.
  const auto findNone = [](Dwfl_Module*, void**, const char*, Dwarf_Addr, const char*, const char*,
                           GElf_Word, char**) { return -1; };
  const Dwfl_Callbacks callbacks = {dwfl_linux_proc_find_elf, findNone, nullptr, nullptr};
  const std::unique_ptr<Dwfl, void (*)(Dwfl*)> process(dwfl_begin(&callbacks), &dwfl_end);
  std::string mappings(record.mappings.data(), record.mappings.size());
  mappings.resize(std::min(mappings.find('\0'), mappings.size()));
  std::FILE* const file = fmemopen(mappings.data(), mappings.rfind('\n') + 1, "r");
  if (file == nullptr) return "";
  dwfl_linux_proc_maps_report(process.get(), file);
  dwfl_report_end(process.get(), nullptr, nullptr);
  std::fclose(file);
  constexpr std::size_t ofTheHandler = 2;  // itself, and what the system calls it by
  for (std::size_t i = ofTheHandler; i < std::min(record.depth, record.stack.size()); ++i) {
    lines += describe(process.get(), record.stack[i]);
  }
#endif
  return lines.empty() ? "" : "  stack:\n" + lines;
}

// A call of the add-in has returned, perhaps in a process that the add-in has forked.
void endCall() {
  if (kept == nullptr || ownRecord() != nullptr) return CrashReport::noteActivity("");
  std::cerr << "The add-in has forked the process. The copy ends where it returns to the host.\n";
  _exit(exit_status::failed);
}

void follow(const Json& entry) {
  CrashRecord* const record = ownRecord();
  if (record == nullptr) return;
  record->trace[record->traceLines % record->trace.size()].set(printable(line(entry)));
  ++record->traceLines;
  const auto event = entry.find("event");
  if (event == entry.end()) {
    record->lastCallReturned = true;
  } else if (*event == "run" || *event == "stop") {
    CrashReport::noteActivity(*event);
  } else if (*event == "notify") {
    CrashReport::noteActivity(entry["handler"]);
  }
}

}  // namespace

SharedCrashRecord newCrashRecord() {
  void* const memory =
      mmap(nullptr, sizeof(CrashRecord), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) {
    throw std::runtime_error("there is no memory: " + std::generic_category().message(errno));
  }
  return {new (memory) CrashRecord, [](CrashRecord* done) { munmap(done, sizeof *done); }};
}

std::int64_t monotonicTime() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::nanoseconds(now).count();
}

std::string reportOn(const CrashRecord& record, const std::string& cause) {
  const auto orElse = [](const auto& string, std::string_view none) {
    return string.empty() ? none : string.get();
  };
  std::ostringstream report;
  report << cause << "\n  last call of the host: " << orElse(record.lastCall, "none");
  if (!record.lastCall.empty()) {
    report << ", which had " << (record.lastCallReturned ? "" : "not ") << "returned, by "
           << record.lastCallMadeBy.get();
  }
  report << "\n  under way: " << orElse(record.underWay, "nothing of the add-in")
         << "\n  command: " << orElse(record.command, "none") << "\n  end of the trace:\n";
  const std::size_t lines = record.trace.size();
  for (std::size_t i = record.traceLines - std::min(record.traceLines, lines);
       i < record.traceLines; ++i) {
    report << "    " << record.trace[i % lines].get() << '\n';
  }
  report << stackIn(record);
  return report.str();
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

void CrashReport::keepIn(CrashRecord& record) {
  kept = &record;
  keeper = getpid();
#ifdef __linux__
  void* first = nullptr;
  backtrace(&first, 1);  // its first call loads a library, which a handler must not do
  // The handlers need a stack of their own when the stack has overflowed.
  static std::array<char, 65536> handlersStack;
  stack_t stack = {};
  stack.ss_sp = handlersStack.data();
  stack.ss_size = handlersStack.size();
  sigaltstack(&stack, nullptr);
#endif
  for (const FatalSignal& signal : fatalSignals) {
    struct sigaction action = {};
    sigaction(signal.number, nullptr, &action);
    if (action.sa_handler == SIG_IGN) continue;  // as a shell's `nohup` or `&` wants it
    action.sa_handler = onFatalSignal;
    action.sa_flags = static_cast<int>(SA_ONSTACK | SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    sigaction(signal.number, &action, nullptr);
  }
}

CrashReport::CrashReport(Host& host)
    : callBegins_(host.interceptor().callBegins.subscribe([](const Operation& operation) {
        CrashRecord* const record = ownRecord();
        if (record == nullptr) return;
        record->lastCall.set(nameOf(operation));
        record->lastCallMadeBy = record->underWay;
        record->lastCallReturned = false;
      })),
      trace_(host.interceptor().trace.subscribe(follow)),
      callReturned_(host.callReturned.subscribe(endCall)) {}

void CrashReport::noteCommand(const Command& command) {
  CrashRecord* const record = ownRecord();
  if (record == nullptr) return;
  record->command.set(
      printable(command.place.empty() ? command.line : command.place + ": " + command.line));
}

void CrashReport::noteActivity(const std::string& what) {
  CrashRecord* const record = ownRecord();
  if (record == nullptr) return;
  record->underWay.set(what);
  record->begun = what.empty() && !record->isTimedBetween ? 0 : monotonicTime();
}

}  // namespace substitute
