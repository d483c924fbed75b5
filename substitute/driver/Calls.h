// The add-in's calls as code: one a line, below the command and the event that led to them.
#pragma once

#include <string>
#include <vector>

#include "substitute/api/Signal.h"
#include "substitute/api/Trace.h"
#include "substitute/driver/Commands.h"

namespace substitute {

struct Command;
class ScenarioRunner;

// The word `calls`, which every prompt understands.
inline constexpr PromptWord callsWord = {
    "calls", "[N]", "print the calls of the last command, or of the N-th, as code"};

// How a call is written.
enum class CallForm {
  shortened,  // on one line, long strings and lists shortened
  full,       // on one line
  spread,     // one argument a line, where there are several
};

// An entry of the trace as code, such as `Palettes.itemById("palette") = null`, printable. JSON
// that is no entry stays JSON.
std::string callLine(const Json& entry, CallForm form);

// How far the line is indented below its command: 1 is an event, 2 what belongs to one.
int callLevel(const Json& entry);

// callLine(), indented below its command.
std::string indentedLine(const Json& entry, CallForm form);

// The calls of each command, for the word `calls`.
class CallLog {
 public:
  // Keeps what `runner` plays from now on. `runner` outlives the log.
  explicit CallLog(ScenarioRunner& runner);
  CallLog(const CallLog&) = delete;
  CallLog& operator=(const CallLog&) = delete;

  // The output of `calls NUMBER`; of `calls` when `number` is empty. Commands are counted from 1.
  // Throws UsageError when there is no such command.
  std::string linesOf(const std::string& number) const;

 private:
  std::vector<std::string> played_;  // each command and its calls, a line each
  Signal<Command>::Subscription playing_;
  Signal<Json>::Subscription trace_;
};

}  // namespace substitute
