// What a scenario expects: of the state, by the commands `expect` and `expect-not`, and of the
// trace.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "substitute/api/Host.h"
#include "substitute/driver/Commands.h"

namespace substitute {

// Something that the state is to have, or not to have, in one place.
class Expectation {
 public:
  // `arguments` are a JSON pointer and a JSON value. Throws ScenarioError.
  Expectation(const Arguments& arguments, bool negated);

  // Nothing when `state` is as expected; else a sentence with both values. Objects are equal
  // whatever the order of their keys.
  std::optional<std::string> failure(const Json& state) const;

 private:
  Json::json_pointer pointer_;
  Json value_;
  bool negated_;
};

// The trace that a scenario is to leave.
class ExpectedTrace {
 public:
  // Reads the trace from `path`. Throws UsageError when it cannot be read or a line is not JSON.
  explicit ExpectedTrace(std::string path);
  ExpectedTrace(const ExpectedTrace&) = delete;
  ExpectedTrace& operator=(const ExpectedTrace&) = delete;

  // Compares the trace of `host` from now on.
  void begin(Host& host);

  // The first line that differs from what came so far, with both; nothing when none does.
  std::optional<std::string> difference() const;

 private:
  void compare(const Json& entry);
  std::string describe(std::size_t index, const std::string& found) const;

  std::string path_;
  std::vector<std::string> lines_;
  std::size_t next_ = 0;
  std::optional<std::string> difference_;
  Signal<Json>::Subscription trace_;
};

}  // namespace substitute
