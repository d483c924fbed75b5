#include "substitute/driver/AddIn.h"

#include <dlfcn.h>
#ifdef __ELF__
#include <fcntl.h>
#include <gelf.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <tuple>
#include <typeinfo>
#include <utility>

#include "substitute/api/Event.h"
#include "substitute/driver/CrashReport.h"
#include "substitute/driver/Errors.h"

namespace substitute {

namespace {

// A name without a slash would be looked for on the system's library path.
std::string loadedAs(const std::string& file) {
  return file.find('/') == std::string::npos ? "./" + file : file;
}

void closeLibrary(void* library) {
  CrashReport::noteActivity("the unloading of the library");
  dlclose(library);
  CrashReport::noteActivity("");
}

bool areInOneLibrary(const void* one, const void* other) {
  Dl_info first = {};
  Dl_info second = {};
  return dladdr(one, &first) != 0 && dladdr(other, &second) != 0 &&
         first.dli_fbase == second.dli_fbase;
}

// A unique symbol that the library `file` defines; empty when there is none. The system never
// unloads a library of which such a symbol is in use.
std::string uniqueSymbolIn([[maybe_unused]] const std::string& file) {
  std::string found;
#ifdef __ELF__
  elf_version(EV_CURRENT);
  const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
  Elf* const elf = elf_begin(descriptor, ELF_C_READ, nullptr);
  for (Elf_Scn* section = nullptr; (section = elf_nextscn(elf, section)) != nullptr;) {
    GElf_Shdr header = {};
    gelf_getshdr(section, &header);
    if (header.sh_type != SHT_DYNSYM) continue;
    Elf_Data* const symbols = elf_getdata(section, nullptr);
    GElf_Sym symbol = {};
    for (int i = 0; found.empty() && gelf_getsym(symbols, i, &symbol) != nullptr; ++i) {
      const bool isUnique = GELF_ST_BIND(symbol.st_info) == STB_GNU_UNIQUE;
      if (!isUnique || symbol.st_shndx == SHN_UNDEF) continue;
      found = demangled(elf_strptr(elf, header.sh_link, symbol.st_name));
    }
  }
  elf_end(elf);
  ::close(descriptor);
#endif
  return found;
}

}  // namespace

AddIn::AddIn(std::string file) : file_(std::move(file)), library_(nullptr, &closeLibrary) {
  std::error_code unknown;  // the loader says why
  if (!std::filesystem::exists(file_, unknown) && !unknown) {
    throw LoadError("there is no library " + file_);
  }
  CrashReport::noteActivity("the loading of the library");
  library_.reset(dlopen(loadedAs(file_).c_str(), RTLD_NOW | RTLD_LOCAL));
  CrashReport::noteActivity("");
  if (library_ == nullptr) {
    throw LoadError("the library cannot be loaded: " + std::string(dlerror()));
  }
  run_ = entryPoint("run");
  stop_ = entryPoint("stop");
}

void* AddIn::symbol(const char* name) const {
  return dlsym(library_.get(), name);
}

AddIn::Remains AddIn::unload() {
  Remains remains;
  if (library_ == nullptr) return remains;
  const void* const code = reinterpret_cast<const void*>(run_);
  std::vector<std::tuple<core::EventHandler*, const void*, std::string>> all;
  for (core::EventHandler* const handler : Registrations::registered()) {
    const void* const itsCode = *reinterpret_cast<const void* const*>(handler);  // virtual table
    all.emplace_back(handler, itsCode, typeName(typeid(*handler)));
  }
  library_.reset();
  void* const kept = dlopen(loadedAs(file_).c_str(), RTLD_NOW | RTLD_NOLOAD);
  remains.isLoaded = kept != nullptr;
  if (kept != nullptr) dlclose(kept);
  if (remains.isLoaded) remains.uniqueSymbol = uniqueSymbolIn(loadedAs(file_));
  for (const auto& [handler, itsCode, name] : all) {
    // A handler of another library stays while that library is loaded.
    if (areInOneLibrary(itsCode, itsCode) && !areInOneLibrary(itsCode, code)) continue;
    const auto left = Registrations::registered();
    if (std::find(left.begin(), left.end(), handler) == left.end()) continue;
    Registrations::remove(*handler);
    // A global object would have ended with its library.
    if (!remains.isLoaded || !areInOneLibrary(handler, code)) remains.handlers.push_back(name);
  }
  return remains;
}

AddIn::EntryPoint AddIn::entryPoint(const char* name) const {
  void* const address = symbol(name);
  if (address == nullptr) throw LoadError("the library " + file_ + " has no \"" + name + "\"");
  return reinterpret_cast<EntryPoint>(address);
}

}  // namespace substitute
