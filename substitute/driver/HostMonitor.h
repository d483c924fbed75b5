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

  // The state, in the order of stateKeys(); docs/substitute-host.md describes its keys.
  Json state() const;
  static std::vector<std::string> stateKeys();

  // What the trace has shown so far.
  struct Seen {
    std::vector<std::vector<std::string>> opened;  // the arguments of each run of `open`
    std::vector<std::string> thrown;               // the types of exceptions that left the add-in
    std::optional<bool> run;  // what the entry point returned last; empty after an exception
    std::optional<bool> stop;
    long failedRuns = 0;  // how often the entry point returned false
    long failedStops = 0;
  };
  const Seen& seen() const { return seen_; }
  const std::vector<std::vector<std::string>>& opened() const { return seen_.opened; }
  const std::vector<std::string>& thrown() const { return seen_.thrown; }

  // The planned faults that have not happened, in the syntax of the command `fail`.
  std::vector<std::string> pendingFaults() const;

 private:
  void follow(const Json& entry);

  Host& host_;
  Seen seen_;
  Signal<Json>::Subscription trace_;
};

// A value that the state must have, or must not have, at a JSON pointer.
class Expectation {
 public:
  // `arguments` are a JSON pointer and a JSON value. Throws ScenarioError.
  Expectation(const Arguments& arguments, bool negated);

  // Empty when `state` is as expected; else a sentence with both values. The order of an object's
  // keys does not matter.
  std::optional<std::string> failure(const Json& state) const;

 private:
  Json::json_pointer pointer_;
  Json value_;
  bool negated_;
};

}  // namespace substitute
