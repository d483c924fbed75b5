// A scenario in a process of its own: whatever the add-in does to it, the others are played.
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace substitute {

// How a scenario ended for the process that played it.
struct ScenarioEnd {
  int status = 0;      // the exit status
  std::string reason;  // why it did not pass: the first failure, a sentence without its full stop
};

// What came of a scenario.
struct ScenarioResult {
  std::string name;
  int status = 0;                  // of the process, as waitpid() gives it
  std::optional<ScenarioEnd> end;  // nothing: the process ended before the scenario did
  double seconds = 0;
  std::string output;
  std::string errors;

  bool passed() const { return status == 0 && end.has_value(); }

  // Why it did not pass, in a sentence without its full stop.
  std::string reason() const;
};

// Calls `play` in a new process, which ends as `play` says, and waits for its end. Throws
// std::runtime_error when there is no such process.
ScenarioResult playInProcess(const std::string& name, const std::function<ScenarioEnd()>& play);

// Where `play` has started another program in its process, as on a Mac (Program.h), that one tells
// by this how the scenario ended. Elsewhere it does nothing.
void passOnEnd(const ScenarioEnd& end);

}  // namespace substitute
