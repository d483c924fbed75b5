// One case: a scenario and what it is played in. It is played by substitute-host in a process of
// its own, and whatever can be seen of it afterwards is held against the model.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tests/model/Model.h"

namespace faults {

struct Case {
  std::vector<std::string> scenario;     // commands of substitute-host, one each
  std::optional<std::string> infoFile;   // its bytes before the first command; none: there is none
  model::Disk disk = model::Disk::open;  // model::possible() with that file
};

// The word that the command line has for each disk, and what the word means.
struct DiskWord {
  const char* word;
  model::Disk disk;
  const char* meaning;
};
const std::vector<DiskWord>& diskWords();

// What the cases are played with.
struct Tools {
  std::string host;                   // substitute-host
  std::string addin;                  // the library that it loads
  std::vector<std::string> emulator;  // what both are executed by, for macOS; nothing: the system
  model::EmptyHandle emptyHandle = model::EmptyHandle::aborts;  // how that library was built
};

// What the model says of `one`, for a host that is installed in `data`. The state is asked for
// after every command.
model::Outcome predict(const Case& one, const Tools& tools, const std::string& data);

// Plays `one` in `directory`, which exists, is free for use and is nobody else's meanwhile. Returns
// how it differs from the model, a line each; nothing where it does not. Throws std::system_error
// when substitute-host cannot be started.
std::vector<std::string> differences(const Case& one, const Tools& tools,
                                     const std::string& directory);

// The arguments that make this program play `one` alone, quoted for the shell.
std::string arguments(const Case& one);

}  // namespace faults
