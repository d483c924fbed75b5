#include "substitute/driver/Expectation.h"

#include <algorithm>
#include <fstream>
#include <utility>

#include "substitute/driver/Calls.h"
#include "substitute/driver/HostMonitor.h"
#include "substitute/driver/Scenario.h"
#include "substitute/driver/Text.h"

namespace substitute {

namespace {

constexpr const char* noMore = "no more";  // in the place of a line, at the end of a trace

std::string asCode(const std::string& line) {
  return line == noMore ? line : callLine(Json::parse(line), CallForm::full);
}

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

// Ignores the order of an object's keys.
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

ExpectedTrace::ExpectedTrace(std::string path) : path_(std::move(path)) {
  std::ifstream file(path_, std::ios::binary);
  for (std::string entry; std::getline(file, entry);) {
    if (!entry.empty() && entry.back() == '\r') entry.pop_back();
    lines_.push_back(entry);
    if (!Json::accept(entry)) {
      throw UsageError(path_ + ":" + std::to_string(lines_.size()) + ": this is no line of a trace",
                       "--expect-trace");
    }
  }
  if (!file.is_open() || file.bad()) {
    throw UsageError("the expected trace " + path_ + " cannot be read", "--expect-trace");
  }
}

void ExpectedTrace::begin(Host& host) {
  trace_ = host.interceptor().trace.subscribe([this](const Json& entry) { compare(entry); });
}

std::optional<std::string> ExpectedTrace::difference() const {
  if (!found_ && next_ == lines_.size()) return {};
  return path_ + ":" + std::to_string(next_ + 1) + ": expected " + expected() + ", found " +
         found_.value_or(noMore);
}

std::vector<std::string> ExpectedTrace::differingCalls() const {
  return {"expected " + asCode(expected()), "found    " + asCode(found_.value_or(noMore))};
}

void ExpectedTrace::compare(const Json& entry) {
  if (found_) return;
  const std::string found = line(entry);
  const bool same =
      next_ < lines_.size() &&
      (lines_[next_] == found || equal(Json::parse(lines_[next_]), Json::parse(found)));
  if (same) {
    ++next_;
  } else {
    found_ = found;
  }
}

std::string ExpectedTrace::expected() const {
  return next_ < lines_.size() ? lines_[next_] : noMore;
}

}  // namespace substitute
