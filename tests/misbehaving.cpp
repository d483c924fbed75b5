// An add-in that does what none should: one row of the table at a time, which the variable
// MISBEHAVE of the environment names. It registers a handler for the online status, which ends with
// the library.
#include <Core/CoreAll.h>
#include <dlfcn.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#ifdef USES_REGEX
#include <regex>
#endif

namespace core = adsk::core;

namespace {

bool runResult = true;
bool stopResult = true;

core::Ptr<core::Application> app() {
  return core::Application::get();
}

// Each of these stands on the stack by its name.

void writeNowhere() {
  *reinterpret_cast<volatile int*>(8) = 1;
}

void waitForever() {
  while (true) pause();
}

// And blocks all signals.
void hangInAnotherGroup() {
  sigset_t all;
  sigfillset(&all);
  sigprocmask(SIG_BLOCK, &all, nullptr);
  setpgid(0, getppid());
  waitForever();
}

int deeper(volatile int depth) {
  volatile char used[4096] = {};
  used[0] = static_cast<char>(depth);
  return depth < 0 ? used[0] : deeper(depth + 1) + used[0];
}

// Writes beyond what was allocated, which the next allocation finds.
void spoilMemory() {
  constexpr std::size_t size = 100000;
  constexpr std::size_t behind = 64;
  auto* const bytes = static_cast<volatile char*>(std::malloc(size));
  for (std::size_t i = 0; i < size + behind; ++i) bytes[i] = -1;
  if (std::malloc(size) == nullptr) std::exit(EXIT_FAILURE);
}

class StatusHandler : public core::ApplicationEventHandler {
 public:
  void notify(const core::Ptr<core::ApplicationEventArgs>& eventArgs) override;
};

StatusHandler statusHandler;
StatusHandler* another = nullptr;

void registerAnother() {
  another = new StatusHandler;
  app()->onlineStatusChanged()->add(another);
}

void inACopy(void (*act)()) {
  const pid_t copy = fork();
  if (copy == 0) return act();
  waitpid(copy, nullptr, 0);
}

void endInAFork() {
  if (fork() == 0) return;  // the copy goes on
  _exit(EXIT_SUCCESS);
}

std::string ownFile() {
  Dl_info self = {};
  dladdr(reinterpret_cast<const void*>(&ownFile), &self);
  return self.dli_fname;
}

void stayLoaded() {
  dlopen(ownFile().c_str(), RTLD_NOW | RTLD_NODELETE);
}

// A second library, of the same source, that ends with this one.
struct Part {
  void* library = nullptr;
  ~Part() {
    if (library != nullptr) dlclose(library);
  }
} part;

void leaveAHandlerOfAPart() {
  const std::string file = ownFile();
  part.library = dlopen((file.substr(0, file.rfind('/')) + "/libpart.so").c_str(), RTLD_NOW);
  setenv("MISBEHAVE", "leave a handler", 1);
  reinterpret_cast<bool (*)(const char*)>(dlsym(part.library, "run"))(nullptr);
}

void readInput() {
  for (char byte = 0; read(STDIN_FILENO, &byte, 1) > 0;) continue;
}

// Nobody else can print then.
void lockOutput() {
  std::thread([] { flockfile(stdout), waitForever(); }).detach();
  while (ftrylockfile(stdout) == 0) funlockfile(stdout);
}

void writeToEveryFile() {
  constexpr int files = 64;
  for (int file = STDERR_FILENO + 1; file < files; ++file)
    static_cast<void>(!write(file, "{}\n", 3));
  syscall(SYS_exit_group, EXIT_SUCCESS);
}

// Over what the process shares with others.
void writeOverSharedMemory() {
  std::ifstream mappings("/proc/self/maps");
  for (std::string line; std::getline(mappings, line);) {
    void* begin = nullptr;
    void* end = nullptr;
    std::sscanf(line.c_str(), "%p-%p", &begin, &end);
    if (line.find(" rw-s ") == std::string::npos) continue;
    std::memset(begin, 'x',
                static_cast<std::size_t>(static_cast<char*>(end) - static_cast<char*>(begin)));
  }
  syscall(SYS_exit_group, EXIT_SUCCESS);
}

enum class Moment { loading, run, notification, stop, unloading };

struct Misbehaviour {
  const char* name;
  Moment moment;
  void (*act)();
};

constexpr Misbehaviour misbehaviours[] = {
    {"crash", Moment::run, writeNowhere},
    {"crash when loaded", Moment::loading, writeNowhere},
    {"crash in a handler", Moment::notification, writeNowhere},
    {"crash when unloaded", Moment::unloading, writeNowhere},
    {"crash in the host", Moment::run,
     [] { app()->userInterface()->palettes()->itemById_raw(reinterpret_cast<const char*>(8)); }},
    {"crash at exit", Moment::run, [] { stayLoaded(), std::atexit(writeNowhere); }},
    {"abort", Moment::run, std::abort},
    {"divide", Moment::run, [] { std::raise(SIGFPE); }},
    {"interrupt", Moment::run, [] { std::raise(SIGINT); }},
    {"set an alarm", Moment::run, [] { alarm(1), waitForever(); }},
    {"use up the stack", Moment::run, [] { deeper(0); }},
    {"spoil the memory", Moment::run, spoilMemory},

    {"exit", Moment::run, [] { std::exit(EXIT_SUCCESS); }},
    {"exit as after a timeout", Moment::run, [] { std::exit(4); }},
    {"_exit", Moment::run, [] { _exit(EXIT_SUCCESS); }},
    {"_Exit", Moment::run, [] { std::_Exit(EXIT_SUCCESS); }},
    {"quick_exit", Moment::run, [] { std::quick_exit(EXIT_SUCCESS); }},
    {"exit by a system call", Moment::run, [] { syscall(SYS_exit_group, EXIT_SUCCESS); }},
    {"exit in a handler", Moment::notification, [] { syscall(SYS_exit_group, EXIT_SUCCESS); }},
    {"exit after writing everywhere", Moment::run, writeToEveryFile},
    {"exit after writing over shared memory", Moment::run, writeOverSharedMemory},
    {"go on in a fork", Moment::run, endInAFork},
    {"come back from a fork", Moment::run, [] { inACopy([] {}); }},
    {"end a child", Moment::run, [] { inACopy([] { _exit(EXIT_SUCCESS); }); }},
    {"exit in a child", Moment::run, [] { inACopy([] { std::exit(EXIT_SUCCESS); }); }},
    {"read the input", Moment::run, readInput},

    {"hang", Moment::run, waitForever},
    {"hang at exit", Moment::run, [] { stayLoaded(), std::atexit(waitForever); }},
    {"hang in a group of its own", Moment::run, hangInAnotherGroup},
    {"hang when refused", Moment::run,
     [] {
       if (!app()->onlineStatusChanged()->add(&statusHandler)) waitForever();
     }},
    {"hang in the shell", Moment::run, [] { static_cast<void>(!system("sleep 1000")); }},
    {"hang under a tracer", Moment::run,
     [] { ptrace(PTRACE_TRACEME, 0, nullptr, nullptr), std::raise(SIGUSR1), waitForever(); }},
    {"hang the host", Moment::run, lockOutput},

    {"throw", Moment::run, [] { throw std::string("no exception of the library's"); }},
    {"throw strange characters", Moment::run,
     [] { throw std::runtime_error("\x01\xEF\xBF\xBE\xEF\xBF\xBF\xFF"); }},
    {"return false from run", Moment::run, [] { runResult = false; }},
    {"return false from stop", Moment::stop, [] { stopResult = false; }},
    {"stay loaded", Moment::run, stayLoaded},

    {"keep a reference", Moment::run, [] { app()->addref(); }},
    {"release a reference twice", Moment::run, [] { app()->release(); }},
    {"keep a string", Moment::run,
     [] { app()->executeTextCommand_raw("Debug.EntitlementString"); }},
    {"free a string of its own", Moment::run,
     [] { core::DeallocateArray<char>(const_cast<char*>("not the host's")); }},
    {"leave a palette", Moment::run,
     [] {
       app()->userInterface()->palettes()->add("left", "Left", "", true, true, true, 1, 1, true);
     }},
    {"leave a handler", Moment::run, registerAnother},
    {"leave a handler once", Moment::run, [] { registerAnother(), setenv("MISBEHAVE", "", 1); }},
    {"leave a handler of a part", Moment::run, leaveAHandlerOfAPart},
    {"delete another handler", Moment::run, registerAnother},
    {"delete another handler", Moment::notification,
     [] { delete std::exchange(another, nullptr); }},
};

void misbehave(Moment moment) {
  const char* const wanted = std::getenv("MISBEHAVE");
  for (const Misbehaviour& one : misbehaviours) {
    if (wanted != nullptr && one.moment == moment && std::string(wanted) == one.name) one.act();
  }
}

void StatusHandler::notify(const core::Ptr<core::ApplicationEventArgs>& /*eventArgs*/) {
  misbehave(Moment::notification);
}

__attribute__((constructor)) void whenLoaded() {
  misbehave(Moment::loading);
}

__attribute__((destructor)) void whenUnloaded() {
  misbehave(Moment::unloading);
}

}  // namespace

extern "C" __attribute__((visibility("default"))) bool run(const char* /*context*/) {
  app()->onlineStatusChanged()->add(&statusHandler);
  misbehave(Moment::run);
#ifdef USES_REGEX
  return std::regex_match("2026", std::regex("[0-9]+"));
#else
  return runResult;
#endif
}

extern "C" __attribute__((visibility("default"))) bool stop(const char* /*context*/) {
  misbehave(Moment::stop);
  return stopResult;
}
