#include "Loader.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "Binding.h"
#include "System.h"

namespace fs = std::filesystem;

// A variable of a thread asks for its address with its descriptor, and expects all registers but
// the first and the two for linking unchanged.
__asm__(
    ".text\n"
    ".p2align 2\n"
    ".globl thread_local_address\n"
    "thread_local_address:\n"
    "  ldp x16, x17, [x0, #8]\n"
    "  add x0, x16, x17\n"
    "  ret\n");
extern "C" void* thread_local_address(emulation::macho::ThreadLocalVariable* variable);

namespace emulation {

namespace {

constexpr const char* systemLibrary = "/usr/lib/libSystem.B.dylib";

auto& images = *new std::vector<std::unique_ptr<Library>>;  // freed with the process: quicker

// The same for each path that leads to a file.
std::string canonical(const std::string& path) {
  return fs::weakly_canonical(path).string();
}

// Empty when the library is not found.
std::string findFile(const std::string& installName) {
  const fs::path name = fs::path(installName).filename();
  const char* const listed = std::getenv("DYLD_LIBRARY_PATH");
  std::istringstream folders(listed == nullptr ? "" : listed);
  for (std::string folder; std::getline(folders, folder, ':');) {
    if (!folder.empty() && fs::exists(folder / name)) return folder / name;
  }
  const fs::path besideProgram = fs::path(images.front()->image.path()).parent_path() / name;
  return fs::exists(besideProgram) ? besideProgram.string() : std::string();
}

// --- Names

// libSystem's names. One that is not supplied may be in a library: those of the unwinder, which on
// a Mac is a part of libSystem, and that by which a host answers where its program lies.
void* findInSystem(const std::string& name) {
  if (void* const address = findSystemName(name)) return address;
  for (const auto& library : images) {
    if (void* const address = findIn(*library, name)) return address;
  }
  return missingFunction(name);
}

void* findForBinding(const Library& user, unsigned library, const std::string& name) {
  if (library == 0 || library > user.libraries.size()) {
    throw LoadError("binds to a library that it does not list");
  }
  const Library* const from = user.libraries[library - 1];
  if (from == nullptr) return findInSystem(name);
  if (void* const address = findIn(*from, name)) return address;
  throw LoadError("needs the name " + name + ", which " + from->image.path() + " lacks");
}

// The one definition that all files share: the first that nothing may replace, or else the first.
void* findShared(const Library& user, const std::string& name) {
  Library* owner = nullptr;
  void* address = nullptr;
  for (const auto& library : images) {
    const std::optional<Export> found = library->image.findExport(name);
    if (!found || (found->weak && owner != nullptr)) continue;
    owner = library.get();
    address = found->address;
    if (!found->weak) break;
  }
  if (owner != nullptr && owner != &user) ++owner->users;  // it stays loaded
  return address;
}

// --- Loading

Library* map(const std::string& path);

// The library that `user` asks for under this name, loaded if need be.
Library* use(const Library& user, const std::string& installName) {
  const auto known = std::find_if(images.begin(), images.end(), [&](const auto& library) {
    return library->image.installName() == installName;
  });
  if (known != images.end()) return known->get();
  const std::string file = findFile(installName);
  if (file.empty()) {
    throw LoadError(user.image.path() + " needs " + installName + ", which is missing");
  }
  Library* const loaded = findByFile(file);
  return loaded == nullptr ? map(file) : loaded;
}

// Puts the file and what it needs, as far as it is not there yet, into memory.
Library* map(const std::string& path) {
  images.push_back(std::make_unique<Library>(canonical(path)));
  Library* const library = images.back().get();
  for (const std::string& name : library->image.libraries()) {
    library->libraries.push_back(name == systemLibrary ? nullptr : use(*library, name));
  }
  return library;
}

// The only thread needs no copy of its variables: they lie in the image itself.
void prepareThreadLocals(const std::vector<Image::Section>& sections) {
  const auto values = std::find_if(sections.begin(), sections.end(), [](const auto& section) {
    return section.type == macho::S_THREAD_LOCAL_REGULAR ||
           section.type == macho::S_THREAD_LOCAL_ZEROFILL;
  });
  if (values == sections.end()) return;
  for (const Image::Section& section : sections) {
    if (section.type != macho::S_THREAD_LOCAL_VARIABLES) continue;
    auto* variable = reinterpret_cast<macho::ThreadLocalVariable*>(section.begin);
    for (std::uint64_t i = 0; i < section.size / sizeof(*variable); ++i) {
      variable[i].address = thread_local_address;
      variable[i].block = reinterpret_cast<std::uint64_t>(values->begin);
    }
  }
}

void link(Library& library) {
  Image& image = library.image;
  try {
    rebase(image);
    bind(
        image,
        [&](unsigned from, const std::string& name) { return findForBinding(library, from, name); },
        [&](const std::string& name) { return findShared(library, name); });
    prepareThreadLocals(image.sections());
    image.protect();
  } catch (const LoadError& error) {
    throw LoadError(image.path() + " " + error.what());
  }
}

// Loads the file and what it needs; nothing of it has run yet.
Library* prepare(const std::string& path) {
  const auto before = static_cast<std::ptrdiff_t>(images.size());
  Library* library = nullptr;
  try {
    library = map(path);
    std::for_each(images.begin() + before, images.end(), [](const auto& added) { link(*added); });
  } catch (const LoadError&) {
    images.erase(images.begin() + before, images.end());
    throw;
  }
  std::for_each(images.begin() + before, images.end(), [](const auto& added) {
    for (Library* const other : added->libraries) {
      if (other != nullptr) ++other->users;
    }
  });
  ++library->users;
  return library;
}

// Those that the library needs first.
void initialize(Library& library) {
  if (library.initialized) return;
  library.initialized = true;
  for (Library* const other : library.libraries) {
    if (other != nullptr) initialize(*other);
  }
  using Initializer = void (*)();
  for (const Image::Section& section : library.image.sections()) {
    if (section.type != macho::S_MOD_INIT_FUNC_POINTERS) continue;
    const auto* const pointers = reinterpret_cast<const Initializer*>(section.begin);
    for (std::uint64_t i = 0; i < section.size / sizeof(*pointers); ++i) pointers[i]();
  }
}

}  // namespace

Arguments programArguments;

int runProgram(const std::string& path, const Arguments& given) {
  programArguments = given;
  Library* const loaded = prepare(path);
  if (loaded->image.entry() == nullptr) {
    throw LoadError(loaded->image.path() + " is a library, not a program");
  }
  std::atexit([] { runAtExit(nullptr); });
  initialize(*loaded);
  const auto main = reinterpret_cast<int (*)(int, char**)>(loaded->image.entry());
  return main(programArguments.count, programArguments.values);
}

const std::vector<std::unique_ptr<Library>>& loadedLibraries() {
  return images;
}

Library* findByFile(const std::string& path) {
  const std::string file = canonical(path);
  for (const auto& library : images) {
    if (library->image.path() == file) return library.get();
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
  Library* const library = prepare(path);
  initialize(*library);
  return library;
}

void release(Library& library) {
  if (--library.users > 0) return;
  runAtExit(library.image.header());
  const std::vector<Library*> used = library.libraries;
  images.erase(std::find_if(images.begin(), images.end(),
                            [&](const auto& image) { return image.get() == &library; }));
  for (Library* const other : used) {
    if (other != nullptr) release(*other);
  }
}

void* findIn(const Library& library, const std::string& name) {
  const std::optional<Export> found = library.image.findExport(name);
  return found ? found->address : nullptr;
}

}  // namespace emulation
