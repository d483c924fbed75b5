// A scenario in a process of its own: whatever the add-in does to it, the others are played.
#pragma once

#include <functional>
#include <string>

namespace substitute {

// What came of a scenario.
struct ScenarioResult {
  std::string name;
  int status = 0;  // of the process, as waitpid() gives it
  double seconds = 0;
  std::string output;
  std::string errors;

  bool passed() const { return status == 0; }

  // Why it did not pass, in a few words.
  std::string reason() const;
};

// Calls `play` in a new process and waits for its end. What `play` returns is its exit status.
// Throws std::system_error when there is no such process.
ScenarioResult playInProcess(const std::string& name, const std::function<int()>& play);

}  // namespace substitute
