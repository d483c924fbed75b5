#include "substitute/driver/StackTrace.h"

#if defined(__linux__)
#include <elfutils/libdwfl.h>
#include <execinfo.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <sstream>

#include "substitute/api/Trace.h"
#endif

namespace substitute {

#if defined(__linux__)

namespace {

std::array<char, 262144> handlersStack;  // enough for a whole report

// Nothing but the loaded files is read: a search for separate debug files may use the network.
int findNoDebugFile(Dwfl_Module* /*module*/, void** /*data*/, const char* /*name*/,
                    Dwarf_Addr /*base*/, const char* /*file*/, const char* /*link*/,
                    GElf_Word /*checksum*/, char** /*found*/) {
  return -1;
}

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

}  // namespace

void prepareStack() {
  std::array<void*, 1> first = {};
  backtrace(first.data(), 1);  // its first call loads a library, which a handler must not do
  stack_t stack = {};
  stack.ss_sp = handlersStack.data();
  stack.ss_size = handlersStack.size();
  sigaltstack(&stack, nullptr);
}

__attribute__((noinline)) void keepStack(StackTrace& stack, std::size_t callers) {
  auto& addresses = stack.addresses;
  const std::ptrdiff_t found = backtrace(addresses.data(), static_cast<int>(addresses.size()));
  const std::ptrdiff_t own = std::min(found, static_cast<std::ptrdiff_t>(callers) + 1);
  const auto end = std::move(addresses.begin() + own, addresses.begin() + found, addresses.begin());
  stack.count = static_cast<std::size_t>(end - addresses.begin());
  const int file = open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
  std::size_t length = 0;
  for (ssize_t got = 1; got > 0 && length < stack.mappings.size() - 1;) {
    got = read(file, stack.mappings.data() + length, stack.mappings.size() - 1 - length);
    length += static_cast<std::size_t>(std::max<ssize_t>(got, 0));
  }
  stack.mappings[length] = '\0';
  close(file);
}

std::string describe(const StackTrace& stack) {
  static const Dwfl_Callbacks callbacks = {dwfl_linux_proc_find_elf, findNoDebugFile, nullptr,
                                           nullptr};
  const std::unique_ptr<Dwfl, void (*)(Dwfl*)> process(dwfl_begin(&callbacks), &dwfl_end);
  const std::string mappings = stack.mappings.data();
  std::FILE* const file =
      fmemopen(const_cast<char*>(mappings.data()), mappings.rfind('\n') + 1, "r");
  dwfl_linux_proc_maps_report(process.get(), file);
  dwfl_report_end(process.get(), nullptr, nullptr);
  std::fclose(file);
  std::string lines;
  for (std::size_t i = 0; i < stack.count; ++i) {
    lines += describe(process.get(), stack.addresses[i]);
  }
  return lines;
}

#else

void prepareStack() {}

void keepStack(StackTrace& /*stack*/, std::size_t /*callers*/) {}

std::string describe(const StackTrace& /*stack*/) {
  return "";
}

#endif

}  // namespace substitute
