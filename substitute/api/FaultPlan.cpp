#include "substitute/api/FaultPlan.h"

#include <algorithm>
#include <limits>

namespace substitute {

std::string inWords(const PlannedFault& fault) {
  return nameOf(fault.operation) + " " + std::to_string(fault.nth) +
         (fault.how == Failure::exception ? " throw" : " null");
}

std::vector<PlannedFault> singleFaults(const std::vector<Operation>& calls) {
  std::vector<PlannedFault> faults;
  std::map<Operation, std::uint64_t> made;
  for (const Operation operation : calls) {
    const std::uint64_t nth = ++made[operation];
    for (const Failure how : {Failure::null, Failure::exception}) {
      faults.push_back({operation, nth, how});
    }
  }
  return faults;
}

void FaultPlan::add(Operation operation, std::uint64_t nth, Failure how) {
  Calls& calls = planned_[operation];
  const std::uint64_t reachable = std::numeric_limits<std::uint64_t>::max() - calls.made;
  calls.failing.emplace(calls.made + std::min(nth, reachable), Fault{how, ++added_});
}

std::optional<Failure> FaultPlan::next(Operation operation) {
  const auto planned = planned_.find(operation);
  if (planned == planned_.end()) return {};
  Calls& calls = planned->second;
  ++calls.made;
  const auto [first, last] = calls.failing.equal_range(calls.made);
  if (first == last) return {};
  const Failure how = first->second.how;
  calls.failing.erase(first, last);
  return how;
}

std::vector<PlannedFault> FaultPlan::pending() const {
  std::map<std::uint64_t, PlannedFault> bySerial;
  for (const auto& [operation, calls] : planned_) {
    for (const auto& [number, fault] : calls.failing) {
      bySerial.emplace(fault.serial, PlannedFault{operation, number - calls.made, fault.how});
    }
  }
  std::vector<PlannedFault> faults;
  faults.reserve(bySerial.size());
  for (const auto& fault : bySerial) faults.push_back(fault.second);
  return faults;
}

}  // namespace substitute
