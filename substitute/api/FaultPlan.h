// Fault injection: which coming calls of the host's operations fail, and how.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "substitute/api/Export.h"
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
SUBSTITUTE_API std::string inWords(const PlannedFault& fault);

// Every call of `calls` fails once in each way: a fault for each run of a sweep. `calls` are those
// of a run without these faults, in their order.
SUBSTITUTE_API std::vector<PlannedFault> singleFaults(const std::vector<Operation>& calls);

class SUBSTITUTE_API FaultPlan {
 public:
  // The `nth` coming call of `operation` fails once; 1 is the next one.
  void add(Operation operation, std::uint64_t nth, Failure how);

  // Counts a call of `operation`. The result is how it fails; nothing when it does not. Of two
  // faults for the same call the first one added counts.
  std::optional<Failure> next(Operation operation);

  // The failures that have not happened, in the order in which they were added.
  std::vector<PlannedFault> pending() const;

 private:
  struct Fault {
    Failure how;
    std::uint64_t serial;  // grows with every failure that is added
  };
  struct Calls {
    std::uint64_t made = 0;
    std::multimap<std::uint64_t, Fault> failing;  // by the number of the call
  };
  // Only operations that a fault was planned for are counted.
  std::map<Operation, Calls> planned_;
  std::uint64_t added_ = 0;
};

}  // namespace substitute
