// The state of a host as the command `state` prints it, and what a scenario expects of it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "substitute/api/Host.h"
#include "substitute/driver/Commands.h"

namespace substitute {

// Composes the state from the host's values and from the trace since the monitor was created.
class HostMonitor {
 public:
  // `host` outlives the monitor.
  explicit HostMonitor(Host& host);
  HostMonitor(const HostMonitor&) = delete;
  HostMonitor& operator=(const HostMonitor&) = delete;

  // The state; docs/substitute-host.md describes its keys.
  Json state() const;

  // What the trace has shown so far: the arguments of each run of `open`, the types of the
  // exceptions that left the add-in, and how often an entry point returned false.
  const Json& opened() const { return own_["opened"]; }
  const Json& thrown() const { return own_["thrown"]; }
  long failedRuns() const { return failedRuns_; }
  long failedStops() const { return failedStops_; }

  // The planned faults that have not happened, in the syntax of the command `fail`.
  std::vector<std::string> pendingFaults() const;

 private:
  void follow(const Json& entry);

  Host& host_;
  Json own_;  // the keys that are not the host's or the profile's
  long failedRuns_ = 0;
  long failedStops_ = 0;
  Signal<Json>::Subscription trace_;
};

// Compares `state` with what a scenario expects. `arguments` are a JSON pointer and the value that
// must be there, or, `negated`, must not. Empty when all is as expected; else a sentence with both
// values. The order of an object's keys does not matter. Throws UsageError for other arguments.
std::optional<std::string> failedExpectation(const Arguments& arguments, bool negated,
                                             const Json& state);

}  // namespace substitute
