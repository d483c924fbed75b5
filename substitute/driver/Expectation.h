// What a scenario expects of the state (commands `expect` and `expect-not`) and of the trace
// (--expect-trace).
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

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

// The trace that a scenario must produce.
class ExpectedTrace {
 public:
  // Reads the trace from `path`. Throws UsageError when it cannot be read or a line is not JSON.
  explicit ExpectedTrace(std::string path);
  ExpectedTrace(const ExpectedTrace&) = delete;
  ExpectedTrace& operator=(const ExpectedTrace&) = delete;

  // Begins to compare the trace of `host`.
  void begin(Host& host);

  // A sentence about the first line that differs, with both lines; empty when none differs so far.
  std::optional<std::string> difference() const;

  // The two lines of the difference as code.
  std::vector<std::string> differingCalls() const;

 private:
  void compare(const Json& entry);
  std::string expected() const;

  std::string path_;
  std::vector<std::string> lines_;
  std::size_t next_ = 0;              // the line that is compared next, or the one that differs
  std::optional<std::string> found_;  // what was found where a line differs
  Signal<Json>::Subscription trace_;
};

}  // namespace substitute
