#include "substitute/driver/Expectation.h"

#include <algorithm>
#include <utility>

#include "substitute/driver/HostMonitor.h"
#include "substitute/driver/Scenario.h"
#include "substitute/driver/Text.h"

namespace substitute {

namespace {

Json::json_pointer parsePointer(const std::string& string) {
  Json::json_pointer pointer;
  try {
    pointer = Json::json_pointer(string);
  } catch (const Json::parse_error&) {
    throw ScenarioError("'" + string + "' is not a JSON pointer, such as /palettes/0/visible");
  }
  Json::json_pointer first = pointer;
  if (first.empty()) return pointer;
  while (!first.parent_pointer().empty()) first.pop_back();
  const std::vector<std::string> keys = HostMonitor::stateKeys();
  if (std::find(keys.begin(), keys.end(), first.back()) == keys.end()) {
    throw ScenarioError("the state has no '" + first.back() + "'; the nearest are " +
                        listed(nearest(first.back(), keys)));
  }
  return pointer;
}

// The value at `pointer` in `state`; null when there is none.
const Json* find(const Json& state, const Json::json_pointer& pointer) {
  try {
    return &state.at(pointer);
  } catch (const Json::exception&) {
    return nullptr;
  }
}

bool equal(const Json& one, const Json& other) {
  return nlohmann::json(one) == nlohmann::json(other);
}

}  // namespace

Expectation::Expectation(const Arguments& arguments, bool negated)
    : pointer_(parsePointer(arguments[0])),
      value_(Json::parse(arguments[1], nullptr, false)),
      negated_(negated) {
  if (value_.is_discarded()) throw ScenarioError("'" + arguments[1] + "' is not JSON");
}

std::optional<std::string> Expectation::failure(const Json& state) const {
  const Json* const found = find(state, pointer_);
  // Compared as printed, where bytes that are not UTF-8 are replaced.
  const bool equals = found != nullptr && equal(Json::parse(line(*found)), value_);
  if (equals != negated_) return {};
  return std::string("expected ") + (negated_ ? "not " : "") + pointer_.to_string() + " " +
         line(value_) + ", found " + (found == nullptr ? "nothing" : line(*found));
}

}  // namespace substitute
