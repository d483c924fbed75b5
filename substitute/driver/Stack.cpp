#include "substitute/driver/Stack.h"

#include <unistd.h>

#include <cstring>

#if defined(__linux__)
#include <cxxabi.h>
#include <dlfcn.h>
#include <elf.h>
#include <execinfo.h>
#include <link.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <vector>

#include "substitute/api/Host.h"
#endif

namespace substitute {

void writeToErrors(const char* text) {
  for (std::size_t left = std::strlen(text); left > 0;) {
    const ssize_t written = write(STDERR_FILENO, text, left);
    if (written <= 0) return;
    text += written;
    left -= static_cast<std::size_t>(written);
  }
}

#if defined(__linux__)

namespace {

std::string demangled(const char* name) {
  int status = 0;
  char* const words = abi::__cxa_demangle(name, nullptr, nullptr, &status);
  std::string result = status == 0 ? words : name;
  std::free(words);
  return result;
}

// The functions of one library, those that it does not show included.
class FunctionNames {
 public:
  // Of a file that is no such library there are none.
  explicit FunctionNames(std::string file) : file_(std::move(file)) {
    std::error_code unreachable;
    if (!std::filesystem::is_regular_file(file_, unreachable)) return;
    std::ifstream input(file_, std::ios::binary);
    bytes_.assign(std::istreambuf_iterator<char>(input), {});
    const auto header = read<ElfW(Ehdr)>(0);
    if (std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0) {
      for (std::size_t i = 0; i < header.e_shnum; ++i) {
        const auto section = read<ElfW(Shdr)>(header.e_shoff + i * sizeof(ElfW(Shdr)));
        if (section.sh_type != SHT_SYMTAB) continue;
        const auto names = read<ElfW(Shdr)>(header.e_shoff + section.sh_link * sizeof(ElfW(Shdr)));
        readFunctions(section, names);
      }
    }
    bytes_.clear();
    std::sort(functions_.begin(), functions_.end(),
              [](const Function& one, const Function& other) { return one.begin < other.begin; });
  }

  bool areOf(const char* file) const { return file_ == file; }

  // The function at that place of the library; null when there is none that is known.
  const char* at(std::uintptr_t place) const {
    for (const Function& function : functions_) {
      if (place >= function.begin && place < function.end) return function.name.c_str();
    }
    return nullptr;
  }

 private:
  struct Function {
    std::uintptr_t begin;
    std::uintptr_t end;
    std::string name;
  };

  // Zeros where the file ends before.
  template <class T>
  T read(std::size_t offset) const {
    T value = {};
    if (offset < bytes_.size() && bytes_.size() - offset >= sizeof value) {
      std::memcpy(&value, bytes_.data() + offset, sizeof value);
    }
    return value;
  }

  void readFunctions(const ElfW(Shdr) & symbols, const ElfW(Shdr) & names) {
    const std::size_t end =
        std::min<std::size_t>(bytes_.size(), symbols.sh_offset + symbols.sh_size);
    for (std::size_t at = symbols.sh_offset; at < end; at += sizeof(ElfW(Sym))) {
      const auto symbol = read<ElfW(Sym)>(at);
      if ((symbol.st_info & 0xf) != STT_FUNC || symbol.st_size == 0) continue;
      const std::size_t name = names.sh_offset + symbol.st_name;
      if (name >= bytes_.size()) continue;
      const std::string text(bytes_.data() + name,
                             strnlen(bytes_.data() + name, bytes_.size() - name));
      functions_.push_back(
          {symbol.st_value, symbol.st_value + symbol.st_size, demangled(text.c_str())});
    }
  }

  std::string file_;
  std::vector<char> bytes_;
  std::vector<Function> functions_;
};

// Never destroyed: the process may be taken down at its very end.
std::vector<FunctionNames>& knownNames() {
  static auto* const names = new std::vector<FunctionNames>;
  return *names;
}

std::array<char, 262144> handlersStack;  // enough for all that the report does

void writeHexadecimal(std::uintptr_t number) {
  std::array<char, 2 * sizeof number + 3> digits = {};
  std::size_t at = digits.size() - 1;
  do {
    digits[--at] = "0123456789abcdef"[number % 16];
    number /= 16;
  } while (number != 0);
  digits[--at] = 'x';
  digits[--at] = '0';
  writeToErrors(digits.data() + at);
}

void tellFrame(void* address) {
  Dl_info library = {};
  if (dladdr(address, &library) == 0) {
    writeHexadecimal(reinterpret_cast<std::uintptr_t>(address));
    return;
  }
  // What is on the stack is the place to return to, behind the call.
  const std::uintptr_t place = reinterpret_cast<std::uintptr_t>(address) - 1 -
                               reinterpret_cast<std::uintptr_t>(library.dli_fbase);
  const char* name = library.dli_sname;
  for (const FunctionNames& names : knownNames()) {
    if (names.areOf(library.dli_fname) && names.at(place) != nullptr) name = names.at(place);
  }
  if (name != nullptr) {
    writeToErrors(name);
    writeToErrors(" in ");
  }
  const char* const slash = std::strrchr(library.dli_fname, '/');
  writeToErrors(slash == nullptr ? library.dli_fname : slash + 1);
  writeToErrors(" at ");
  writeHexadecimal(place + 1);
}

}  // namespace

void prepareStack(const std::string& addin) {
  Dl_info host = {};
  dladdr(reinterpret_cast<const void*>(&resourceCounts), &host);
  knownNames().clear();
  knownNames().emplace_back(addin);
  if (host.dli_fname != nullptr) knownNames().emplace_back(host.dli_fname);
  std::array<void*, 1> first = {};
  backtrace(first.data(), 1);  // the first time it loads a library, which a handler must not do
  stack_t stack = {};
  stack.ss_sp = handlersStack.data();
  stack.ss_size = handlersStack.size();
  sigaltstack(&stack, nullptr);
}

__attribute__((noinline)) void tellStack() {
  constexpr int ownFrames = 3;  // this function, the handler, and what called it
  std::array<void*, 64> frames = {};
  const int count = backtrace(frames.data(), static_cast<int>(frames.size()));
  writeToErrors("  stack:\n");
  for (int i = ownFrames; i < count; ++i) {
    writeToErrors("    ");
    tellFrame(frames[static_cast<std::size_t>(i)]);
    writeToErrors("\n");
  }
}

#else

void prepareStack(const std::string& /*addin*/) {}

void tellStack() {}

#endif

}  // namespace substitute
