// Loading an add-in: a library with the entry points `run` and `stop`.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>

namespace substitute {

class Host;

// A library that cannot be loaded, or has no `run` or `stop`; what() says so in one sentence.
class LoadError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A loaded add-in. The destructor unloads it.
class AddIn {
 public:
  // Loads the library `file`. Throws LoadError.
  explicit AddIn(std::string file);
  ~AddIn();
  AddIn(const AddIn&) = delete;
  AddIn& operator=(const AddIn&) = delete;

  // Calls the entry point through `host`. The result is empty when an exception left it.
  std::optional<bool> run(Host& host);
  std::optional<bool> stop(Host& host);

  // The address of a symbol that the library exports; null when there is none of that name. For
  // tests.
  void* symbol(const char* name) const;

  // True while the process has the library `file` loaded.
  static bool isLoaded(const std::string& file);

 private:
  using EntryPoint = bool (*)(const char*);

  EntryPoint entryPoint(const char* name) const;

  std::string file_;
  void* library_;
  EntryPoint run_;
  EntryPoint stop_;
};

}  // namespace substitute
