#include "substitute/driver/StackTrace.h"

#include <unistd.h>

#include <cstring>

#if defined(__linux__)
#include <cxxabi.h>
#include <dlfcn.h>
#include <elf.h>
#include <execinfo.h>
#include <fcntl.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#endif

namespace substitute {

void writeToStandardError(const char* string) {
  for (std::size_t left = std::strlen(string); left > 0;) {
    const ssize_t written = write(STDERR_FILENO, string, left);
    if (written <= 0) return;
    string += written;
    left -= static_cast<std::size_t>(written);
  }
}

#if defined(__linux__)

namespace {

std::array<char, 262144> handlersStack;  // enough for the whole report

// A file mapped into memory. It is mapped when the process crashes, so that a start does not cost
// more, and never unmapped, since the process is about to end.
class MappedFile {
 public:
  // Empty when it cannot be read.
  explicit MappedFile(const char* path) {
    const int descriptor = open(path, O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return;
    struct stat status = {};
    if (fstat(descriptor, &status) == 0 && status.st_size > 0) {
      const auto size = static_cast<std::size_t>(status.st_size);
      void* const mapped = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor, 0);
      if (mapped != MAP_FAILED) {
        bytes_ = static_cast<const char*>(mapped);
        size_ = size;
      }
    }
    close(descriptor);
  }

  std::size_t size() const { return size_; }

  // Zeros when the file ends before the value does.
  template <class T>
  T read(std::size_t offset) const {
    T value = {};
    if (offset < size_ && size_ - offset >= sizeof value) {
      std::memcpy(&value, bytes_ + offset, sizeof value);
    }
    return value;
  }

  // Null when the string does not end within the file.
  const char* string(std::size_t offset) const {
    const bool ends =
        offset < size_ && std::memchr(bytes_ + offset, '\0', size_ - offset) != nullptr;
    return ends ? bytes_ + offset : nullptr;
  }

 private:
  const char* bytes_ = nullptr;
  std::size_t size_ = 0;
};

// The mangled name of the function at `address` in the library or program `path`, which is loaded
// at `base`. Functions that are not exported are found, too. Null when there is none.
const char* functionAt(std::uintptr_t address, std::uintptr_t base, const char* path) {
  const MappedFile file(path);
  const auto header = file.read<ElfW(Ehdr)>(0);
  if (std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0) return nullptr;
  const std::uintptr_t place = header.e_type == ET_EXEC ? address : address - base;
  for (std::size_t i = 0; i < header.e_shnum; ++i) {
    const auto section = file.read<ElfW(Shdr)>(header.e_shoff + i * sizeof(ElfW(Shdr)));
    if (section.sh_type != SHT_SYMTAB) continue;
    const auto names = file.read<ElfW(Shdr)>(header.e_shoff + section.sh_link * sizeof(ElfW(Shdr)));
    const std::size_t end = std::min<std::size_t>(file.size(), section.sh_offset + section.sh_size);
    for (std::size_t at = section.sh_offset; at < end; at += sizeof(ElfW(Sym))) {
      const auto symbol = file.read<ElfW(Sym)>(at);
      const bool isFunction = (symbol.st_info & 0xf) == STT_FUNC;
      if (!isFunction || place - symbol.st_value >= symbol.st_size) continue;
      return file.string(names.sh_offset + symbol.st_name);
    }
  }
  return nullptr;
}

void writeHexadecimal(std::uintptr_t number) {
  std::array<char, 2 * sizeof number + 3> digits = {};
  std::size_t at = digits.size() - 1;
  do {
    digits[--at] = "0123456789abcdef"[number % 16];
    number /= 16;
  } while (number != 0);
  digits[--at] = 'x';
  digits[--at] = '0';
  writeToStandardError(digits.data() + at);
}

struct Frame {
  const char* name = nullptr;     // of the function, mangled; null: unknown
  const char* library = nullptr;  // null: none
  std::uintptr_t place = 0;       // in the library
};

bool isOfProgram(const Dl_info& library) {
  Dl_info program = {};
  dladdr(reinterpret_cast<const void*>(&writeStackTrace), &program);
  return library.dli_fbase == program.dli_fbase;
}

Frame frameAt(void* returnAddress) {
  const auto address = reinterpret_cast<std::uintptr_t>(returnAddress);
  Dl_info library = {};
  if (dladdr(returnAddress, &library) == 0) return {nullptr, nullptr, address};
  const auto base = reinterpret_cast<std::uintptr_t>(library.dli_fbase);
  // For the program, the loader has the name that it was started with, which may be no path.
  const char* const file = isOfProgram(library) ? "/proc/self/exe" : library.dli_fname;
  // The stack has return addresses, which are behind the call.
  const char* const name = functionAt(address - 1, base, file);
  const char* const slash = std::strrchr(library.dli_fname, '/');
  return {name != nullptr ? name : library.dli_sname,
          slash == nullptr ? library.dli_fname : slash + 1, address - base};
}

void writeFrame(const Frame& frame, const char* name) {
  writeToStandardError("    ");
  if (name != nullptr) {
    writeToStandardError(name);
    writeToStandardError(" in ");
  }
  if (frame.library != nullptr) {
    writeToStandardError(frame.library);
    writeToStandardError(" at ");
  }
  writeHexadecimal(frame.place);
  writeToStandardError("\n");
}

// Puts the demangled names of `frames` into `names`. The entry for a C function stays empty.
template <class Frames, class Names>
void demangle(const Frames& frames, std::size_t count, Names& names) {
  for (std::size_t i = 0; i < count; ++i) {
    const char* const name = frames[i].name;
    if (name == nullptr || std::strncmp(name, "_Z", 2) != 0) continue;
    const char* const demangled = abi::__cxa_demangle(name, nullptr, nullptr, nullptr);
    if (demangled != nullptr) std::strncpy(names[i].data(), demangled, names[i].size() - 1);
  }
}

// Calls `work` in a child process, without standard error and for a few seconds at most, and waits
// for it. Safe in a signal handler: nothing here takes a lock.
template <class Work>
void inChild(Work work) {
  constexpr unsigned seconds = 5;
  const pid_t child = _Fork();
  if (child == 0) {
    close(STDERR_FILENO);
    for (int number = 1; number < NSIG; ++number) std::signal(number, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    alarm(seconds);
    work();
    _exit(EXIT_SUCCESS);
  }
  while (child > 0 && waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
  }
}

}  // namespace

void prepareStackTrace() {
  std::array<void*, 1> first = {};
  backtrace(first.data(), 1);  // its first call loads a library, which a handler must not do
  stack_t stack = {};
  stack.ss_sp = handlersStack.data();
  stack.ss_size = handlersStack.size();
  sigaltstack(&stack, nullptr);
}

// Demangling allocates memory. A process that crashed may have a corrupt heap, or may hold the lock
// of malloc(). So a child process demangles, and a name that it does not reach stays mangled. All
// else is done in this process: the child must not call the loader, whose lock this process may
// hold.
__attribute__((noinline)) void writeStackTrace() {
  constexpr std::size_t most = 64;
  constexpr int ownFrames = 3;  // this function, the handler, and what called it
  std::array<void*, most> addresses = {};
  const int size = backtrace(addresses.data(), most);
  const auto count = static_cast<std::size_t>(std::max(size - ownFrames, 0));
  std::array<Frame, most> frames;
  std::transform(addresses.begin() + ownFrames, addresses.begin() + ownFrames + count,
                 frames.begin(), frameAt);
  using Names = std::array<std::array<char, 1024>, most>;
  void* const shared =
      mmap(nullptr, sizeof(Names), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  auto* const names = shared == MAP_FAILED ? nullptr : static_cast<Names*>(shared);
  if (names != nullptr) {
    inChild([&] { demangle(frames, count, *names); });
  }
  writeToStandardError("  stack:\n");
  for (std::size_t i = 0; i < count; ++i) {
    const bool isDemangled = names != nullptr && (*names)[i][0] != '\0';
    writeFrame(frames[i], isDemangled ? (*names)[i].data() : frames[i].name);
  }
}

#else

void prepareStackTrace() {}

void writeStackTrace() {}

#endif

}  // namespace substitute
