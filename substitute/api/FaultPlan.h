// Fault injection: which coming calls of the host's operations fail, and how.
#pragma once

#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "substitute/api/Operation.h"

namespace substitute {

// How a call fails: it returns nothing (null, false or 0), or throws. Either way it does nothing.
enum class Failure { null, exception };

// A failure that has not happened yet; `nth` counts from the coming call, which is 1.
struct PlannedFault {
  Operation operation;
  std::uint64_t nth;
  Failure how;
};

// The fault as the command `fail` takes it: "Palettes.add 2 null".
inline std::string inWords(const PlannedFault& fault) {
  return nameOf(fault.operation) + " " + std::to_string(fault.nth) +
         (fault.how == Failure::exception ? " throw" : " null");
}

class FaultPlan {
 public:
  // The `nth` coming call of `operation` fails once; 1 is the next one.
  void add(Operation operation, std::uint64_t nth, Failure how) {
    pending_.push_back({operation, nth, how});
  }

  // Counts a call of `operation`. The result is how it fails; nothing when it does not. Of two
  // faults for the same call the first one added counts.
  std::optional<Failure> next(Operation operation) {
    std::optional<Failure> failure;
    for (auto fault = pending_.begin(); fault != pending_.end();) {
      const bool happens = fault->operation == operation && --fault->nth == 0;
      if (happens && !failure) failure = fault->how;
      fault = happens ? pending_.erase(fault) : std::next(fault);
    }
    return failure;
  }

  // The failures that have not happened, in the order in which they were added.
  const std::vector<PlannedFault>& pending() const { return pending_; }

 private:
  std::vector<PlannedFault> pending_;
};

}  // namespace substitute
