#include "substitute/api/Operation.h"

#include <algorithm>
#include <cstddef>

namespace substitute {

const std::string& nameOf(Operation operation) {
  return operationNames()[static_cast<std::size_t>(operation)];
}

const std::vector<std::string>& operationNames() {
  static const std::vector<std::string> names = {
#define SUBSTITUTE_NAME(owner, operation) std::string(#owner) + "." + #operation,
      SUBSTITUTE_OPERATIONS(SUBSTITUTE_NAME)
#undef SUBSTITUTE_NAME
  };
  return names;
}

std::optional<Operation> operationNamed(const std::string& name) {
  const std::vector<std::string>& names = operationNames();
  const auto found = std::find(names.begin(), names.end(), name);
  if (found == names.end()) return {};
  return static_cast<Operation>(found - names.begin());
}

}  // namespace substitute
