#include "substitute/api/FaultPlan.h"

#include <algorithm>
#include <limits>

namespace substitute {

void FaultPlan::add(Operation operation, std::uint64_t nth, Failure how) {
  Calls& calls = planned_[operation];
  const std::uint64_t reachable = std::numeric_limits<std::uint64_t>::max() - calls.made;
  calls.failing.emplace(calls.made + std::min(nth, reachable), how);
}

std::optional<Failure> FaultPlan::next(Operation operation) {
  const auto planned = planned_.find(operation);
  if (planned == planned_.end()) return {};
  Calls& calls = planned->second;
  ++calls.made;
  const auto [first, last] = calls.failing.equal_range(calls.made);
  if (first == last) return {};
  const Failure how = first->second;
  calls.failing.erase(first, last);
  return how;
}

}  // namespace substitute
