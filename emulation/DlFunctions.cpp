// What programs ask of the loader: dlopen and its kin, the images and their sections, what is
// called at the end.
#include <cstring>
#include <filesystem>
#include <string>

#include "Loader.h"
#include "System.h"

namespace emulation {

namespace {

std::string lastError;
bool hasError = false;

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
    if (library == nullptr) return load(std::filesystem::absolute(path).string());
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

void* macDlsym(void* handle, const char* symbol) {
  const std::string name = std::string("_") + symbol;
  void* address = nullptr;
  if (handle == inAllHandle || handle == inProgramHandle) {
    address = findInAll(name);
  } else if (reinterpret_cast<std::intptr_t>(handle) > 0) {  // not: behind the caller's own
    address = findFrom(*static_cast<Library*>(handle), name);
  }
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
  const Library* const library = findByAddress(address);
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
  const Library* const library = findByAddress(address);
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

std::uint32_t imageCount() {
  return static_cast<std::uint32_t>(loadedLibraries().size());
}

const char* imageName(std::uint32_t index) {
  return index < loadedLibraries().size() ? loadedLibraries()[index]->image.path().c_str()
                                          : nullptr;
}

// The program's path for one without a host's library: -1 and the size that it takes when it does
// not fit.
int executablePath(char* buffer, std::uint32_t* size) {
  const std::string& program = loadedLibraries().front()->image.path();
  const auto needed = static_cast<std::uint32_t>(program.size() + 1);
  const bool fits = needed <= *size;
  *size = needed;
  if (!fits) return -1;
  std::memcpy(buffer, program.c_str(), needed);
  return 0;
}

int* argumentCountPointer() {
  return &programArguments().count;
}

char*** argumentsPointer() {
  return &programArguments().values;
}

int registerAtExitOfProgram(void (*function)()) {
  const auto call = [](void* argument) { reinterpret_cast<void (*)()>(argument)(); };
  addAtExit({call, reinterpret_cast<void*>(function), nullptr});
  return 0;
}

int registerAtExit(void (*function)(void*), void* argument, const void* header) {
  addAtExit({function, argument, header});
  return 0;
}

}  // namespace

SystemNames loaderFunctions() {
  return {supply("_dlopen", macDlopen),
          supply("_dlclose", macDlclose),
          supply("_dlerror", macDlerror),
          supply("_dlsym", macDlsym),
          supply("_dladdr", macDladdr),
          supply("__dyld_find_unwind_sections", findUnwindSections),
          supply("__dyld_register_func_for_remove_image", addUnloadCallback),
          supply("__dyld_image_count", imageCount),
          supply("__dyld_get_image_name", imageName),
          supply("__NSGetExecutablePath", executablePath),
          supply("__NSGetArgc", argumentCountPointer),
          supply("__NSGetArgv", argumentsPointer),
          supply("__tlv_bootstrap", thread_local_address),
          supply("_atexit", registerAtExitOfProgram),
          supply("___cxa_atexit", registerAtExit),
          supply("___cxa_finalize", runAtExit)};
}

}  // namespace emulation
