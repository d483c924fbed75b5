#include "substitute/driver/AddIn.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

#include "substitute/api/Host.h"
#include "substitute/driver/CrashReport.h"

namespace substitute {

namespace {

void* load(const std::string& path) {
  const CrashReport::UnderWay loading("the loading of the library");
  return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
}

void unload(void* library) {
  const CrashReport::UnderWay unloading("the unloading of the library");
  dlclose(library);
}

}  // namespace

// A name without a slash would be looked for on the system's library path.
std::string loadedAs(const std::string& file) {
  return file.find('/') == std::string::npos ? "./" + file : file;
}

AddIn::AddIn(std::string file) : file_(std::move(file)) {
  std::error_code unknown;  // the loader says why
  if (!std::filesystem::exists(file_, unknown) && !unknown) {
    throw LoadError("there is no library " + file_);
  }
  library_ = load(loadedAs(file_));
  if (library_ == nullptr) {
    throw LoadError("the library " + file_ + " cannot be loaded: " + dlerror());
  }
  try {
    run_ = entryPoint("run");
    stop_ = entryPoint("stop");
  } catch (const LoadError&) {
    unload(library_);
    throw;
  }
}

AddIn::~AddIn() {
  unload(library_);
}

std::optional<bool> AddIn::run(Host& host) {
  return host.callEntryPoint("run", [this] { return run_(nullptr); });
}

std::optional<bool> AddIn::stop(Host& host) {
  return host.callEntryPoint("stop", [this] { return stop_(nullptr); });
}

void* AddIn::symbol(const char* name) const {
  return dlsym(library_, name);
}

bool AddIn::isLoaded(const std::string& file) {
  void* const library = dlopen(loadedAs(file).c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (library == nullptr) return false;
  dlclose(library);
  return true;
}

AddIn::EntryPoint AddIn::entryPoint(const char* name) const {
  void* const address = dlsym(library_, name);
  if (address == nullptr) throw LoadError("the library " + file_ + " has no \"" + name + "\"");
  return reinterpret_cast<EntryPoint>(address);
}

}  // namespace substitute
