#include "substitute/driver/AddIn.h"

#include <dlfcn.h>
#ifdef __ELF__
#include <elf.h>
#endif

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "substitute/api/Host.h"
#include "substitute/driver/CrashReport.h"

namespace substitute {

namespace {

// A name without a slash would be looked for on the system's library path.
std::string loadedAs(const std::string& file) {
  return file.find('/') == std::string::npos ? "./" + file : file;
}

void* load(const std::string& path) {
  const CrashReport::Activity loading("the loading of the library");
  return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
}

void unload(void* library) {
  const CrashReport::Activity unloading("the unloading of the library");
  dlclose(library);
}

// The part of `string` after `before`, up to the next character of `ends`; empty when `before` is
// not there.
std::string between(const std::string& string, const std::string& before, const char* ends) {
  const auto found = string.find(before);
  if (found == std::string::npos) return "";
  const auto begin = found + before.size();
  return string.substr(begin, string.find_first_of(ends, begin) - begin);
}

// Why the loader refuses `file`. `said` is the loader's message, which only experts understand; the
// result says the same in plain words.
std::string whyRefused(const std::string& file, const std::string& said) {
  std::error_code unknown;
  if (std::filesystem::is_directory(file, unknown)) return "it is a folder";
  errno = 0;
  std::ifstream input(file, std::ios::binary);
  if (!input) return std::generic_category().message(errno);
#ifdef __ELF__
  std::string magic(SELFMAG, ' ');
  input.read(magic.data(), SELFMAG);
  if (magic != std::string(ELFMAG, SELFMAG)) return "it is no library of this system";
#endif
  const std::string symbol = between(said, "undefined symbol: ", " \t(,");
  if (!symbol.empty()) return "it needs " + symbol + ", which no library has";
  if (said.find("cannot open shared object file") != std::string::npos) {
    return "it needs the library " + said.substr(0, said.find(':')) + ", which is not found";
  }
  return "the system's loader refuses it";
}

}  // namespace

AddIn::AddIn(std::string file) : file_(std::move(file)) {
  std::error_code unknown;  // the loader says why
  if (!std::filesystem::exists(file_, unknown) && !unknown) {
    throw LoadError("there is no library " + file_);
  }
  library_ = load(loadedAs(file_));
  if (library_ == nullptr) {
    const std::string why = whyRefused(file_, dlerror());
    throw LoadError("the library " + file_ + " cannot be loaded: " + why);
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
