#include "substitute/driver/AddIn.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

#include "substitute/api/Host.h"

namespace substitute {

namespace {

// A name without a slash would be looked for on the system's library path.
std::string withSlash(const std::string& file) {
  return file.find('/') == std::string::npos ? "./" + file : file;
}

}  // namespace

AddIn::AddIn(std::string file) : file_(std::move(file)) {
  std::error_code unknown;  // the loader says why
  if (!std::filesystem::exists(file_, unknown) && !unknown) {
    throw LoadError("there is no library " + file_);
  }
  library_ = dlopen(withSlash(file_).c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library_ == nullptr) {
    throw LoadError("the library " + file_ + " cannot be loaded: " + dlerror());
  }
  try {
    run_ = entryPoint("run");
    stop_ = entryPoint("stop");
  } catch (const LoadError&) {
    dlclose(library_);
    throw;
  }
}

AddIn::~AddIn() {
  dlclose(library_);
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
  void* const library = dlopen(withSlash(file).c_str(), RTLD_NOW | RTLD_NOLOAD);
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
