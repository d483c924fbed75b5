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

using Function = void (*)();
using Initializer = void (*)(int, char**, char**, const char* const*);

std::vector<std::unique_ptr<Library>> images;
std::vector<AtExit> atExit;
std::vector<UnloadCallback> unloadCallbacks;
std::string program;
Arguments arguments;
const char* const noSystemArguments[] = {nullptr};

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
    initializer(arguments.count, arguments.values, arguments.environment, noSystemArguments);
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

void runTerminators(const Image& image) {
  runAtExit(image.header());
  for (const Image::Section& section : image.sections()) {
    if (section.type != macho::terminatorPointers) continue;
    const auto* const pointers = reinterpret_cast<const Function*>(section.begin);
    for (std::uint64_t i = section.size / sizeof(*pointers); i > 0; --i) pointers[i - 1]();
  }
}

void runAllTerminators() {
  runAtExit(nullptr);
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

// Loads the file and what it needs; nothing of it has run yet.
Library* prepare(const std::string& path, std::vector<const Library*>& waiting) {
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
  isNew([&waiting](const Library& added) { waiting.push_back(&added); });
  ++library->users;
  return library;
}

}  // namespace

Library::Library(const std::string& path) : image(path) {
  struct stat file {};
  stat(path.c_str(), &file);
  device = file.st_dev;
  inode = file.st_ino;
}

int runProgram(const std::string& path, const Arguments& given) {
  program = fs::absolute(path).lexically_normal().string();
  arguments = given;
  std::vector<const Library*> waiting;
  const Library* const loaded = prepare(program, waiting);
  if (loaded->image.entry() == nullptr) throw LoadError(program + " is a library, not a program");
  std::atexit(runAllTerminators);
  initialize(*loaded, waiting);
  using Main = int (*)(int, char**, char**, const char* const*);
  const auto main = reinterpret_cast<Main>(loaded->image.entry());
  return main(arguments.count, arguments.values, arguments.environment, noSystemArguments);
}

Arguments& programArguments() {
  return arguments;
}

const std::vector<std::unique_ptr<Library>>& loadedLibraries() {
  return images;
}

Library* findByFile(const std::string& path) {
  struct stat file {};
  if (stat(path.c_str(), &file) != 0) return nullptr;
  for (const auto& library : images) {
    if (library->device == file.st_dev && library->inode == file.st_ino) return library.get();
  }
  return nullptr;
}

Library* findByAddress(const void* address) {
  for (const auto& library : images) {
    if (library->image.contains(address)) return library.get();
  }
  return nullptr;
}

Library* load(const std::string& path) {
  std::vector<const Library*> waiting;
  Library* const library = prepare(path, waiting);
  initialize(*library, waiting);
  return library;
}

void release(Library& library) {
  if (--library.users > 0) return;
  runTerminators(library.image);
  for (const UnloadCallback callback : unloadCallbacks) {
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

void* findInAll(const std::string& name) {
  for (const auto& library : images) {
    if (void* const address = findIn(*library, name)) return address;
  }
  return findInSystem(name);
}

void* findFrom(const Library& library, const std::string& name) {
  if (void* const address = findIn(library, name)) return address;
  for (const Library* const other : library.libraries) {
    void* const address = other == nullptr ? findInSystem(name) : findFrom(*other, name);
    if (address != nullptr) return address;
  }
  return nullptr;
}

void addAtExit(const AtExit& entry) {
  atExit.push_back(entry);
}

void runAtExit(const void* header) {
  for (;;) {
    const auto last = std::find_if(atExit.rbegin(), atExit.rend(), [header](const AtExit& entry) {
      return header == nullptr || entry.header == header;
    });
    if (last == atExit.rend()) return;
    const AtExit entry = *last;
    atExit.erase(std::next(last).base());
    entry.function(entry.argument);
  }
}

void addUnloadCallback(UnloadCallback callback) {
  unloadCallbacks.push_back(callback);
}

}  // namespace emulation
