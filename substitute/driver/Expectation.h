// What a scenario expects of the state: the commands `expect` and `expect-not`.
#pragma once

#include <optional>
#include <string>

#include "substitute/api/Host.h"
#include "substitute/driver/Commands.h"

namespace substitute {

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
