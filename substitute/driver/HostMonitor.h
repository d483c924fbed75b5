// The state of a host as the command `state` prints it.
#pragma once

#include <string>
#include <vector>

#include "substitute/api/Host.h"

namespace substitute {

// Composes the state from the host's values and from what the trace has shown since the monitor was
// created.
class HostMonitor {
 public:
  // `host` outlives the monitor.
  explicit HostMonitor(Host& host);
  HostMonitor(const HostMonitor&) = delete;
  HostMonitor& operator=(const HostMonitor&) = delete;

  // The state (docs/substitute-host.md).
  Json state() const;

  // The arguments of each run of `open` so far.
  const std::vector<std::vector<std::string>>& opened() const { return opened_; }

 private:
  const Host& host_;
  std::vector<std::vector<std::string>> opened_;
  Signal<Json>::Subscription trace_;
};

}  // namespace substitute
