// Playing a scenario in a process of its own, so that a crash does not affect other scenarios.
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace substitute {

// The outcome of a scenario, as the process that played it reports it.
struct ScenarioEnd {
  int status = 0;      // the exit status
  std::string reason;  // why it did not pass: the first failure, a sentence without its full stop
};

// The result of a scenario, as the parent process sees it.
struct ScenarioResult {
  std::string name;
  int status = 0;                  // of the process, as waitpid() gives it
  std::optional<ScenarioEnd> end;  // empty: the process ended before the scenario did
  double seconds = 0;
  std::string output;
  std::string errors;

  bool passed() const { return status == 0 && end.has_value(); }

  // Why it did not pass, in a sentence without its full stop.
  std::string reason() const;
};

// Calls `play` in a new process, which exits with the status that `play` returns, and waits for it.
// Throws std::runtime_error when the process cannot be created.
ScenarioResult playInProcess(const std::string& name, const std::function<ScenarioEnd()>& play);

// Reports the outcome from a program that `play` has started by exec(), as on a Mac (Program.h).
// Elsewhere it does nothing.
void passOnEnd(const ScenarioEnd& end);

}  // namespace substitute
