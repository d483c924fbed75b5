// An add-in that does what none should, as the variable MISBEHAVE of the environment names it.
#include <Core/CoreAll.h>
#include <dlfcn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>

namespace core = adsk::core;

namespace {

bool shall(const std::string& what) {
  const char* const wanted = std::getenv("MISBEHAVE");
  return wanted != nullptr && what == wanted;
}

void writeNowhere() {
  *reinterpret_cast<volatile int*>(8) = 1;
}

// Uses up the stack.
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

void endChild() {
  const pid_t child = fork();
  if (child == 0) _exit(EXIT_SUCCESS);
  waitpid(child, nullptr, 0);
}

void waitForever() {
  while (true) pause();
}

class StatusHandler : public core::ApplicationEventHandler {
 public:
  void notify(const core::Ptr<core::ApplicationEventArgs>& /*eventArgs*/) override {
    if (shall("crash in a handler")) writeNowhere();
    if (shall("hang in a handler")) waitForever();
  }
};

StatusHandler statusHandler;

__attribute__((constructor)) void whenLoaded() {
  if (shall("crash when loaded")) writeNowhere();
}

__attribute__((destructor)) void whenUnloaded() {
  if (shall("crash when unloaded")) writeNowhere();
}

}  // namespace

extern "C" __attribute__((visibility("default"))) bool run(const char* /*context*/) {
  const core::Ptr<core::Application> app = core::Application::get();
  app->onlineStatusChanged()->add(&statusHandler);
  if (shall("crash")) writeNowhere();
  if (shall("crash in the host")) {
    app->userInterface()->palettes()->itemById_raw(reinterpret_cast<const char*>(8));
  }
  if (shall("abort")) std::abort();
  if (shall("spoil the memory")) spoilMemory();
  if (shall("raise")) std::raise(SIGFPE);
  if (shall("raise SIGINT")) std::raise(SIGINT);
  if (shall("raise SIGALRM")) std::raise(SIGALRM);
  if (shall("use up the stack")) deeper(0);
  if (shall("exit")) std::exit(EXIT_SUCCESS);
  if (shall("_exit")) _exit(EXIT_SUCCESS);
  if (shall("_Exit")) std::_Exit(EXIT_SUCCESS);
  if (shall("quick_exit")) std::quick_exit(EXIT_SUCCESS);
  if (shall("end the process by a system call")) syscall(SYS_exit_group, EXIT_SUCCESS);
  if (shall("end a child")) endChild();
  if (shall("hang")) waitForever();
  if (shall("throw")) throw std::string("no exception of the library's");
  if (shall("keep a reference")) app->addref();
  if (shall("drop a reference")) app->release();
  if (shall("keep a text")) app->executeTextCommand_raw("Debug.EntitlementString");
  if (shall("hand back a text twice")) {
    core::DeallocateArray<char>(const_cast<char*>("not the host's"));
  }
  if (shall("stay")) {
    Dl_info self = {};
    dladdr(reinterpret_cast<const void*>(&run), &self);
    dlopen(self.dli_fname, RTLD_NOW | RTLD_NODELETE);
  }
  return !shall("return false");
}

extern "C" __attribute__((visibility("default"))) bool stop(const char* /*context*/) {
  return !shall("return false from stop");
}
