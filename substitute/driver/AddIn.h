// Loading an add-in: a library with the entry points `run` and `stop`.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "substitute/api/Host.h"

namespace substitute {

// A loaded add-in. The destructor unloads it.
class AddIn {
 public:
  // Loads the library `file`. Throws LoadError.
  explicit AddIn(std::string file);
  ~AddIn() { unload(); }
  AddIn(const AddIn&) = delete;
  AddIn& operator=(const AddIn&) = delete;

  // Calls the entry point through `host`. The result is empty when an exception left it.
  std::optional<bool> run(Host& host) const {
    return host.callEntryPoint("run", [this] { return run_(nullptr); });
  }
  std::optional<bool> stop(Host& host) const {
    return host.callEntryPoint("stop", [this] { return stop_(nullptr); });
  }

  // What an add-in leaves in the process when it is unloaded.
  struct Remains {
    // The classes of the handlers that were still registered with an event, such as one that was
    // allocated and never deleted. They are registered no more: their code is gone.
    std::vector<std::string> handlers;
    bool isLoaded = false;  // the process keeps the library
    // The symbol because of which the system keeps it; empty: there is none.
    std::string uniqueSymbol;
  };

  // Unloads the library. Nothing else may be called afterwards.
  Remains unload();

  // The address of a symbol that the library exports; null when there is none of that name. For
  // tests.
  void* symbol(const char* name) const;

 private:
  using EntryPoint = bool (*)(const char*);

  EntryPoint entryPoint(const char* name) const;

  std::string file_;
  std::unique_ptr<void, void (*)(void*)> library_;  // null after unload()
  EntryPoint run_;
  EntryPoint stop_;
};

}  // namespace substitute
