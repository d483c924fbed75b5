// Fault injection: which coming calls of the host's operations fail, and how.
#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "substitute/api/Export.h"
#include "substitute/api/Operation.h"

namespace substitute {

// How a call fails: it returns nothing (null, false or 0), or throws. Either way it does nothing.
enum class Failure { null, exception };

class SUBSTITUTE_API FaultPlan {
 public:
  // The `nth` coming call of `operation` fails once; 1 is the next one.
  void add(Operation operation, std::uint64_t nth, Failure how);

  // Counts a call of `operation`. The result is how it fails; nothing when it does not. Of two
  // faults for the same call the first one added counts.
  std::optional<Failure> next(Operation operation);

 private:
  struct Calls {
    std::uint64_t made = 0;
    std::multimap<std::uint64_t, Failure> failing;  // by the number of the call
  };
  // Only operations that a fault was planned for are counted.
  std::map<Operation, Calls> planned_;
};

}  // namespace substitute
