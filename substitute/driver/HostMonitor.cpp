#include "substitute/driver/HostMonitor.h"

#include <algorithm>

#include "substitute/driver/Profile.h"
#include "substitute/driver/Scenario.h"
#include "substitute/driver/Text.h"

namespace substitute {

namespace {

// The keys that stand behind those of the host and of the profile.
Json describeSeen(const HostMonitor::Seen& seen, const std::vector<std::string>& pendingFaults) {
  return {{"references", resourceCounts().references},
          {"text", resourceCounts().strings},
          {"opened", seen.opened},
          {"run", seen.run ? Json(*seen.run) : Json()},
          {"stop", seen.stop ? Json(*seen.stop) : Json()},
          {"thrown", seen.thrown},
          {"pendingFaults", pendingFaults}};
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

}  // namespace

HostMonitor::HostMonitor(Host& host)
    : host_(host),
      trace_(host.interceptor().trace.subscribe([this](const Json& entry) { follow(entry); })) {}

Json HostMonitor::state() const {
  Json state = host_.state();
  for (const ProfileKey& key : profile().keys) state[key.name] = key.valueIn(host_);
  state.update(describeSeen(seen_, pendingFaults()));
  return state;
}

std::vector<std::string> HostMonitor::stateKeys() {
  std::vector<std::string> keys = Host::stateKeys();
  for (const ProfileKey& key : profile().keys) keys.emplace_back(key.name);
  const Json own = describeSeen({}, {});
  for (const auto& entry : own.items()) keys.push_back(entry.key());
  return keys;
}

std::vector<std::string> HostMonitor::pendingFaults() const {
  std::vector<std::string> faults;
  for (const PlannedFault& fault : host_.interceptor().faults.pending()) {
    faults.push_back(inWords(fault));
  }
  return faults;
}

void HostMonitor::follow(const Json& entry) {
  const std::string event = entry.value("event", "");
  if (event == "open") seen_.opened.push_back(entry["args"]);
  if (event == "threw") seen_.thrown.push_back(entry["type"]);
  if (event == "run") seen_.run.reset();
  if (event == "stop") seen_.stop.reset();
  if (event == "run returned") seen_.run = entry["value"].get<bool>();
  if (event == "stop returned") seen_.stop = entry["value"].get<bool>();
  if (event == "run returned" && !*seen_.run) ++seen_.failedRuns;
  if (event == "stop returned" && !*seen_.stop) ++seen_.failedStops;
}

Expectation::Expectation(const Arguments& arguments, bool negated)
    : pointer_(parsePointer(arguments[0])),
      value_(Json::parse(arguments[1], nullptr, false)),
      negated_(negated) {
  if (value_.is_discarded()) throw ScenarioError("'" + arguments[1] + "' is not JSON");
}

std::optional<std::string> Expectation::failure(const Json& state) const {
  std::string found = "nothing";
  bool equals = false;
  try {
    found = line(state.at(pointer_));
    // Compared as printed, where bytes that are not UTF-8 are replaced.
    equals = nlohmann::json::parse(found) == nlohmann::json(value_);
  } catch (const Json::exception&) {  // there is no such value
  }
  if (equals != negated_) return {};
  return std::string("expected ") + (negated_ ? "not " : "") + pointer_.to_string() + " " +
         line(value_) + ", found " + found;
}

}  // namespace substitute
