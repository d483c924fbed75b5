// What programs ask of the loader itself.
//
// On a Mac dyld supplies dlopen and its kin, a list of the images, and the sections by which the
// unwinder finds its way through them. Libraries register what is to be called at their end, by
// their header. Here a handle is the library itself, and a list holds what is to be called when one
// of them is unloaded or the process ends.
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "Loader.h"
#include "System.h"

namespace emulation {

namespace {

std::string lastError;
const char* untoldError = nullptr;

void setError(const std::string& sentence) {
  lastError = sentence;
  untoldError = lastError.c_str();
}

struct DlInfo {
  const char* path;
  const void* header;
  const char* symbol;
  const void* symbolAddress;
};

struct UnwindSections {
  const void* header;
  const void* dwarf;
  std::uint64_t dwarfSize;
  const void* compact;
  std::uint64_t compactSize;
};

struct AtExit {
  void (*function)(void*);
  void* argument;
  const void* header;
};

std::vector<AtExit> atExit;

}  // namespace

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

extern "C" {

void* mac_dlopen(const char* path, int mode) {
  constexpr int onlyIfLoaded = 0x10;
  try {
    Library* const library = findByFile(path);
    if (library == nullptr && (mode & onlyIfLoaded) == 0) return load(path);
    if (library == nullptr) setError(std::string(path) + " is not loaded");
    if (library != nullptr) ++library->users;
    return library;
  } catch (const LoadError& error) {
    setError(error.what());
    return nullptr;
  }
}

int mac_dlclose(Library* library) {
  release(*library);
  return 0;
}

const char* mac_dlerror() {
  return std::exchange(untoldError, nullptr);
}

void* mac_dlsym(const Library* library, const char* symbol) {
  void* const address = findIn(*library, std::string("_") + symbol);
  if (address == nullptr) setError(std::string("the symbol ") + symbol + " is missing");
  return address;
}

// Names no symbols.
int mac_dladdr(const void* address, DlInfo* info) {
  const Library* const library = findByAddress(address);
  if (library == nullptr) return 0;
  *info = {library->image.path().c_str(), library->image.header(), nullptr, nullptr};
  return 1;
}

bool mac__dyld_find_unwind_sections(const void* address, UnwindSections* found) {
  const Library* const library = findByAddress(address);
  if (library == nullptr) return false;
  *found = {library->image.header(), nullptr, 0, nullptr, 0};
  for (const Image::Section& section : library->image.sections()) {
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

const char* mac__dyld_get_image_name(std::uint32_t index) {
  return index < loadedLibraries().size() ? loadedLibraries()[index]->image.path().c_str()
                                          : nullptr;
}

int* mac__NSGetArgc() {
  return &programArguments.count;
}

char*** mac__NSGetArgv() {
  return &programArguments.values;
}

int mac___cxa_atexit(void (*function)(void*), void* argument, const void* header) {
  atExit.push_back({function, argument, header});
  return 0;
}

int mac_atexit(void (*function)(void*)) {
  return mac___cxa_atexit(function, nullptr, nullptr);
}

}  // extern "C"

EMULATION_CONVERTED(
    "_NSGetArgc, _NSGetArgv, __cxa_atexit, _dyld_find_unwind_sections, _dyld_get_image_name, "
    "atexit, dladdr, dlclose, dlerror, dlopen, dlsym");

}  // namespace emulation
