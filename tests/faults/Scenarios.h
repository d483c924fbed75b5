// The scenarios whose every call is made to fail, and random ones.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "tests/faults/Case.h"

namespace faults {

struct NamedCase {
  std::string name;
  Case one;
};

// Together they call every operation of the host.
const std::vector<NamedCase>& scenarios();

// `scenario` with each of its calls failing once, in each way that it can: one case each.
std::vector<NamedCase> singleFaults(const NamedCase& scenario, const Tools& tools);

// The operations of the host that none of scenarios() reaches.
std::set<std::string> unreachedOperations(const Tools& tools);

// A scenario with two calls that fail; the second is one that is made although the first fails.
// The same for the same seed.
NamedCase pairOfFaults(std::uint64_t seed, const Tools& tools);

// A random scenario, faults included; the same for the same seed.
NamedCase randomScenario(std::uint64_t seed);

}  // namespace faults
