#include "Loader.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <sstream>
#include <system_error>
#include <vector>

#include "Binding.h"
#include "Image.h"
#include "System.h"

namespace fs = std::filesystem;

namespace emulation {

namespace {

struct Library {
  explicit Library(const std::string& path) : image(path) {
    struct stat file {};
    stat(path.c_str(), &file);
    device = file.st_dev;
    inode = file.st_ino;
  }

  Image image;
  // Which file it is, under whatever path.
  dev_t device;
  ino_t inode;
  // Those that the file lists, in its order, then the unwinder. Null stands for the system library.
  std::vector<Library*> libraries;
  // Those that supply a name that all files share.
  std::vector<Library*> sharedFrom;
  // How often it was opened, and how many others use it.
  int users = 0;
  std::unique_ptr<std::uint64_t[]> threadLocals;
};

using Function = void (*)();
using Initializer = void (*)(int, char**, char**, const char**);
using ImageCallback = void (*)(const void* header, std::intptr_t slide);

struct AtExit {
  void (*function)(void*);
  void* argument;
  const void* header;  // of the image to which it belongs
};

// In the order of loading: the program comes first.
std::vector<std::unique_ptr<Library>> images;
std::vector<AtExit> atExit;
std::vector<AtExit> atThreadExit;
std::vector<ImageCallback> removeCallbacks;
std::string program;
std::string lastError;
bool hasError = false;

struct MainArguments {
  int count;
  char** arguments;
  char** environment;
  const char* system[1] = {nullptr};
} mainArguments;

Library* imageAt(const void* address) {
  for (const auto& library : images) {
    if (library->image.contains(address)) return library.get();
  }
  return nullptr;
}

// On a Mac the system library passes on what the unwinder, a library of its own, exports.
const char* const unwinderName = "/usr/lib/system/libunwind.dylib";

bool isSystemLibrary(const std::string& installName) {
  return installName == "/usr/lib/libSystem.B.dylib" || installName == "/usr/lib/libSystem.dylib";
}

// A library is looked for by the last part of its name, wherever it lies on a Mac: in the folders
// that DYLD_LIBRARY_PATH lists, then beside the program. Empty when it is in none.
std::string findFile(const std::string& installName) {
  const fs::path name = fs::path(installName).filename();
  const char* const listed = std::getenv("DYLD_LIBRARY_PATH");
  std::istringstream folders(listed == nullptr ? "" : listed);
  for (std::string folder; std::getline(folders, folder, ':');) {
    if (!folder.empty() && fs::exists(folder / name)) return fs::absolute(folder / name).string();
  }
  const fs::path besideProgram = fs::path(program).parent_path() / name;
  return fs::exists(besideProgram) ? besideProgram.string() : std::string();
}

Library* findByInstallName(const std::string& name) {
  for (const auto& library : images) {
    if (library->image.installName() == name) return library.get();
  }
  return nullptr;
}

Library* findByFile(const std::string& path) {
  struct stat file {};
  if (stat(path.c_str(), &file) != 0) return nullptr;
  for (const auto& library : images) {
    if (library->device == file.st_dev && library->inode == file.st_ino) return library.get();
  }
  return nullptr;
}

// --- Names

void* findIn(const Library& library, const std::string& name, bool* weak = nullptr) {
  Export found;
  if (!library.image.findExport(name, found)) return nullptr;
  if (weak != nullptr) *weak = found.weak;
  if (found.address != nullptr) return found.address;
  // Passed on from another library.
  if (found.ordinal == 0 || found.ordinal > library.libraries.size()) return nullptr;
  const Library* const other = library.libraries[found.ordinal - 1];
  return other == nullptr ? findSystemName(found.otherName) : findIn(*other, found.otherName, weak);
}

// The name in the system library, the unwinder's included. Where the program lies a host may answer
// itself, to lie wherever a test wants it.
void* findInSystem(const std::string& name) {
  if (name == "__NSGetExecutablePath") {
    for (const auto& library : images) {
      if (void* const address = findIn(*library, name)) return address;
    }
  }
  if (void* const address = findSystemName(name)) return address;
  const Library* const unwinder = findByInstallName(unwinderName);
  return unwinder == nullptr ? nullptr : findIn(*unwinder, name);
}

void* findInAll(const std::string& name) {
  for (const auto& library : images) {
    if (void* const address = findIn(*library, name)) return address;
  }
  return findInSystem(name);
}

// The one definition that all files share: the first that nothing may replace, or else the first.
Library* findShared(const std::string& name, void*& address) {
  Library* first = nullptr;
  address = nullptr;
  for (const auto& library : images) {
    const std::uint32_t flags = library->image.fileHeader().flags;
    if ((flags & (macho::definesWeak | macho::bindsToWeak)) == 0) continue;
    bool weak = false;
    void* const found = findIn(*library, name, &weak);
    if (found == nullptr || (weak && first != nullptr)) continue;
    first = library.get();
    address = found;
    if (!weak) break;
  }
  return first;
}

void* findForBinding(Library& library, std::int64_t place, const std::string& name, bool mayLack) {
  void* address = nullptr;
  if (place == amongWeak) {
    Library* const owner = findShared(name, address);
    if (owner != nullptr && owner != &library) {
      ++owner->users;
      library.sharedFrom.push_back(owner);
    }
    return address;
  }
  const Library* from = nullptr;
  if (place == inAll) {
    address = findInAll(name);
  } else {
    if (place > static_cast<std::int64_t>(library.libraries.size()) || place < inAll) {
      throw LoadError("binds to a library that it does not list");
    }
    from = place == inSelf      ? &library
           : place == inProgram ? images.front().get()
                                : library.libraries[static_cast<std::size_t>(place) - 1];
    address = from == nullptr ? findInSystem(name) : findIn(*from, name);
  }
  if (address != nullptr || mayLack) return address;
  if (from == nullptr) return missingFunction(name);
  throw LoadError("needs the name " + name + ", which " + from->image.path() + " lacks");
}

// --- Loading

Library* map(const std::string& path);

// The library that `user` asks for under this name, loaded if need be.
Library* use(const Library& user, const std::string& installName) {
  Library* library = findByInstallName(installName);
  if (library == nullptr) {
    const std::string file = findFile(installName);
    if (file.empty()) {
      throw LoadError(user.image.path() + " needs " + installName + ", which is missing");
    }
    library = findByFile(file);
    if (library == nullptr) library = map(file);
  }
  ++library->users;
  return library;
}

// Puts the file and what it needs, as far as it is not there yet, into memory.
Library* map(const std::string& path) {
  images.push_back(std::make_unique<Library>(path));
  Library* const library = images.back().get();
  bool usesSystem = false;
  for (const std::string& name : library->image.libraries()) {
    const bool system = isSystemLibrary(name);
    usesSystem = usesSystem || system;
    library->libraries.push_back(system ? nullptr : use(*library, name));
  }
  const bool isUnwinder = library->image.installName() == unwinderName;
  if (usesSystem && !isUnwinder && !findFile(unwinderName).empty()) {
    library->libraries.push_back(use(*library, unwinderName));
  }
  return library;
}

// A variable of a thread asks for its address with its descriptor, and expects all registers but
// the first and the two for linking unchanged. There is one thread.
__asm__(
    ".text\n"
    ".p2align 2\n"
    ".globl thread_local_address\n"
    "thread_local_address:\n"
    "  ldp x16, x17, [x0, #8]\n"
    "  add x0, x16, x17\n"
    "  ret\n");
extern "C" void* thread_local_address(macho::ThreadLocalVariable* variable);

void prepareThreadLocals(Library& library) {
  const std::uint8_t* begin = nullptr;
  const std::uint8_t* end = nullptr;
  for (const Image::Section& section : library.image.sections()) {
    if (section.type != macho::threadLocalRegular && section.type != macho::threadLocalZeroFilled) {
      continue;
    }
    if (begin == nullptr) begin = section.begin;
    end = section.begin + section.size;
  }
  const auto size = static_cast<std::size_t>(end - begin);
  library.threadLocals = std::make_unique<std::uint64_t[]>(size / sizeof(std::uint64_t) + 1);
  if (size > 0) std::memcpy(library.threadLocals.get(), begin, size);
  for (const Image::Section& section : library.image.sections()) {
    if (section.type != macho::threadLocalVariables) continue;
    auto* variable = reinterpret_cast<macho::ThreadLocalVariable*>(section.begin);
    for (std::uint64_t i = 0; i < section.size / sizeof(*variable); ++i) {
      variable[i].address = thread_local_address;
      variable[i].block = reinterpret_cast<std::uint64_t>(library.threadLocals.get());
    }
  }
}

void runInitializers(const Image& image) {
  const auto run = [](Initializer initializer) {
    initializer(mainArguments.count, mainArguments.arguments, mainArguments.environment,
                mainArguments.system);
  };
  for (const Image::Section& section : image.sections()) {
    if (section.type == macho::initializerPointers) {
      const auto* const pointers = reinterpret_cast<const Initializer*>(section.begin);
      for (std::uint64_t i = 0; i < section.size / sizeof(*pointers); ++i) run(pointers[i]);
    } else if (section.type == macho::initializerOffsets) {
      const auto* const offsets = reinterpret_cast<const std::uint32_t*>(section.begin);
      for (std::uint64_t i = 0; i < section.size / sizeof(*offsets); ++i) {
        run(reinterpret_cast<Initializer>(image.header() + offsets[i]));
      }
    }
  }
}

// Runs what was registered for the image's end, the last first; for all images when `header` is
// null.
void runAtExit(std::vector<AtExit>& list, const void* header) {
  for (;;) {
    const auto last = std::find_if(list.rbegin(), list.rend(), [header](const AtExit& entry) {
      return header == nullptr || entry.header == header;
    });
    if (last == list.rend()) return;
    const AtExit entry = *last;
    list.erase(std::next(last).base());
    entry.function(entry.argument);
  }
}

void runTerminators(const Image& image) {
  runAtExit(atExit, image.header());
  for (const Image::Section& section : image.sections()) {
    if (section.type != macho::terminatorPointers) continue;
    const auto* const pointers = reinterpret_cast<const Function*>(section.begin);
    for (std::uint64_t i = section.size / sizeof(*pointers); i > 0; --i) pointers[i - 1]();
  }
}

void runAllTerminators() {
  runAtExit(atThreadExit, nullptr);
  runAtExit(atExit, nullptr);
  for (auto library = images.rbegin(); library != images.rend(); ++library) {
    runTerminators((*library)->image);
  }
}

// Those on which the image depends first.
void initialize(const Library& library, std::vector<const Library*>& waiting) {
  const auto found = std::find(waiting.begin(), waiting.end(), &library);
  if (found == waiting.end()) return;
  waiting.erase(found);
  for (const Library* const other : library.libraries) {
    if (other != nullptr) initialize(*other, waiting);
  }
  runInitializers(library.image);
}

// Loads the file and what it needs and makes it ready to run; nothing is left of a failure.
Library* load(const std::string& path, bool initialized) {
  const std::size_t before = images.size();
  Library* library = nullptr;
  const auto isNew = [before](const auto& action) {
    for (std::size_t i = before; i < images.size(); ++i) action(*images[i]);
  };
  try {
    library = map(path);
    isNew([](Library& added) {
      const auto find = [&added](std::int64_t place, const std::string& name, bool mayLack) {
        return findForBinding(added, place, name, mayLack);
      };
      try {
        rebase(added.image);
        bind(added.image, find);
      } catch (const LoadError& error) {
        throw LoadError(added.image.path() + " " + error.what());
      }
      prepareThreadLocals(added);
      added.image.protect();
    });
  } catch (const LoadError&) {
    isNew([](const Library& added) {
      for (Library* const other : added.libraries) {
        if (other != nullptr) --other->users;
      }
      for (Library* const other : added.sharedFrom) --other->users;
    });
    images.resize(before);
    throw;
  }
  std::vector<const Library*> waiting;
  isNew([&waiting](const Library& added) { waiting.push_back(&added); });
  if (initialized) initialize(*library, waiting);
  return library;
}

void release(Library& library) {
  if (--library.users > 0) return;
  runTerminators(library.image);
  for (const ImageCallback callback : removeCallbacks) {
    callback(library.image.header(), static_cast<std::intptr_t>(library.image.slide()));
  }
  std::vector<Library*> used = library.libraries;
  used.insert(used.end(), library.sharedFrom.begin(), library.sharedFrom.end());
  images.erase(std::find_if(images.begin(), images.end(),
                            [&](const auto& image) { return image.get() == &library; }));
  for (Library* const other : used) {
    if (other != nullptr) release(*other);
  }
}

// --- What programs call

constexpr int onlyIfLoaded = 0x10;
const auto inAllHandle = reinterpret_cast<void*>(-2);
const auto inProgramHandle = reinterpret_cast<void*>(-5);

void setError(const std::string& sentence) {
  lastError = sentence;
  hasError = true;
}

void* macDlopen(const char* path, int mode) {
  if (path == nullptr) return inProgramHandle;
  try {
    Library* library = findByFile(path);
    if (library == nullptr && (mode & onlyIfLoaded) != 0) {
      setError(std::string(path) + " is not loaded");
      return nullptr;
    }
    if (library == nullptr) library = load(fs::absolute(path).string(), true);
    ++library->users;
    return library;
  } catch (const LoadError& error) {
    setError(error.what());
    return nullptr;
  }
}

int macDlclose(void* handle) {
  if (handle != inProgramHandle) release(*static_cast<Library*>(handle));
  return 0;
}

char* macDlerror() {
  if (!hasError) return nullptr;
  hasError = false;
  return lastError.data();
}

void* findFrom(const Library& library, const std::string& name) {
  if (void* const address = findIn(library, name)) return address;
  for (const Library* const other : library.libraries) {
    void* const address = other == nullptr ? findInSystem(name) : findFrom(*other, name);
    if (address != nullptr) return address;
  }
  return nullptr;
}

void* macDlsym(void* handle, const char* symbol) {
  const std::string name = std::string("_") + symbol;
  void* const address = handle == inAllHandle || handle == inProgramHandle
                            ? findInAll(name)
                            : findFrom(*static_cast<Library*>(handle), name);
  if (address == nullptr) setError(std::string("the symbol ") + symbol + " is missing");
  return address;
}

struct DlInfo {
  const char* path;
  void* header;
  const char* symbol;
  void* symbolAddress;
};

int macDladdr(const void* address, DlInfo* info) {
  const Library* const library = imageAt(address);
  if (library == nullptr) return 0;
  *info = {library->image.path().c_str(), library->image.header(), nullptr, nullptr};
  const macho::Symbol symbol = library->image.symbolBelow(address, info->symbol);
  if (info->symbol == nullptr) return 1;
  if (*info->symbol == '_') ++info->symbol;
  info->symbolAddress = reinterpret_cast<void*>(symbol.address + library->image.slide());
  return 1;
}

struct UnwindSections {
  const void* header;
  const void* dwarf;
  std::uint64_t dwarfSize;
  const void* compact;
  std::uint64_t compactSize;
};

bool findUnwindSections(const void* address, UnwindSections* found) {
  const Library* const library = imageAt(address);
  if (library == nullptr) return false;
  *found = {library->image.header(), nullptr, 0, nullptr, 0};
  for (const Image::Section& section : library->image.sections()) {
    if (section.segment != "__TEXT") continue;
    if (section.name == "__eh_frame") {
      found->dwarf = section.begin;
      found->dwarfSize = section.size;
    } else if (section.name == "__unwind_info") {
      found->compact = section.begin;
      found->compactSize = section.size;
    }
  }
  return true;
}

void registerRemoveCallback(ImageCallback callback) {
  removeCallbacks.push_back(callback);
}

std::uint32_t imageCount() {
  return static_cast<std::uint32_t>(images.size());
}

const char* imageName(std::uint32_t index) {
  return index < images.size() ? images[index]->image.path().c_str() : nullptr;
}

// The program's path for one without a host's library: -1 and the size that it takes when it does
// not fit.
int executablePath(char* buffer, std::uint32_t* size) {
  const auto needed = static_cast<std::uint32_t>(program.size() + 1);
  const bool fits = needed <= *size;
  *size = needed;
  if (!fits) return -1;
  std::memcpy(buffer, program.c_str(), needed);
  return 0;
}

int* argumentCountPointer() {
  return &mainArguments.count;
}

char*** argumentsPointer() {
  return &mainArguments.arguments;
}

int registerAtExit(void (*function)(void*), void* argument, const void* header) {
  atExit.push_back({function, argument, header});
  return 0;
}

int registerAtPlainExit(void (*function)()) {
  const Library* const caller = imageAt(__builtin_return_address(0));
  return registerAtExit(reinterpret_cast<void (*)(void*)>(function), nullptr,
                        caller == nullptr ? nullptr : caller->image.header());
}

void registerAtThreadExit(void (*function)(void*), void* argument) {
  atThreadExit.push_back({function, argument, nullptr});
}

void finalize(const void* header) {
  runAtExit(atExit, header);
}

}  // namespace

SystemNames loaderFunctions() {
  return {supply("_dlopen", macDlopen),
          supply("_dlclose", macDlclose),
          supply("_dlerror", macDlerror),
          supply("_dlsym", macDlsym),
          supply("_dladdr", macDladdr),
          supply("__dyld_find_unwind_sections", findUnwindSections),
          supply("__dyld_register_func_for_remove_image", registerRemoveCallback),
          supply("__dyld_image_count", imageCount),
          supply("__dyld_get_image_name", imageName),
          supply("__NSGetExecutablePath", executablePath),
          supply("__NSGetArgc", argumentCountPointer),
          supply("__NSGetArgv", argumentsPointer),
          supply("__tlv_bootstrap", thread_local_address),
          supply("__tlv_atexit", registerAtThreadExit),
          supply("___cxa_atexit", registerAtExit),
          supply("___cxa_finalize", finalize),
          supply("_atexit", registerAtPlainExit)};
}

const std::string& programPath() {
  return program;
}

int runProgram(const std::string& path, int count, char** arguments, char** environment) {
  program = fs::absolute(path).string();
  mainArguments.count = count;
  mainArguments.arguments = arguments;
  mainArguments.environment = environment;
  Library* const loaded = load(program, false);
  if (loaded->image.entry() == nullptr) throw LoadError(program + " is a library, not a program");
  ++loaded->users;
  std::atexit(runAllTerminators);
  std::vector<const Library*> waiting;
  for (const auto& library : images) waiting.push_back(library.get());
  initialize(*loaded, waiting);
  const auto main =
      reinterpret_cast<int (*)(int, char**, char**, const char**)>(loaded->image.entry());
  return main(count, arguments, environment, mainArguments.system);
}

}  // namespace emulation
