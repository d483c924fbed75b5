// The state of a host as the command `state` prints it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "substitute/api/Host.h"

namespace substitute {

// Composes the state from the host's values and from the trace since the monitor was created.
class HostMonitor {
 public:
  // `host` outlives the monitor.
  explicit HostMonitor(Host& host);
  HostMonitor(const HostMonitor&) = delete;
  HostMonitor& operator=(const HostMonitor&) = delete;

  // The state, in the order of stateKeys(); docs/substitute-host.md describes its keys.
  Json state() const;
  static std::vector<std::string> stateKeys();

  // The arguments of each run of `open` so far.
  const std::vector<std::vector<std::string>>& opened() const { return opened_; }

  // The types of the exceptions that left the add-in so far.
  const std::vector<std::string>& thrown() const { return thrown_; }

  // How often an entry point returned false so far.
  long failedRuns() const { return run_.failed; }
  long failedStops() const { return stop_.failed; }

  // The planned faults that have not happened, in the syntax of the command `fail`.
  std::vector<std::string> pendingFaults() const;

 private:
  // The last result of an entry point, empty after an exception, and how often it was false.
  struct Returned {
    std::optional<bool> last;
    long failed = 0;
  };

  struct StateEntry {
    const char* key;
    Json (*valueIn)(const HostMonitor& monitor);
  };
  static const std::vector<StateEntry>& stateEntries();  // after those of host and profile

  void follow(const Json& entry);

  Host& host_;
  std::vector<std::vector<std::string>> opened_;
  std::vector<std::string> thrown_;
  Returned run_;
  Returned stop_;
  Signal<Json>::Subscription trace_;
};

}  // namespace substitute
