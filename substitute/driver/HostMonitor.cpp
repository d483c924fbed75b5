#include "substitute/driver/HostMonitor.h"

#include <algorithm>

#include "substitute/driver/Profile.h"
#include "substitute/driver/Scenario.h"
#include "substitute/driver/Text.h"

namespace substitute {

namespace {

// The monitor's own keys, which follow those of the host and of the profile, and their first
// values.
const Json ownKeys = {{"references", 0},
                      {"text", 0},
                      {"opened", Json::array()},
                      {"run", nullptr},
                      {"stop", nullptr},
                      {"thrown", Json::array()},
                      {"pendingFaults", Json::array()}};

std::vector<std::string> stateKeys() {
  std::vector<std::string> keys = Host::stateKeys();
  for (const ProfileKey& key : profile().keys) keys.emplace_back(key.name);
  for (const auto& entry : ownKeys.items()) keys.push_back(entry.key());
  return keys;
}

Json::json_pointer parsePointer(const std::string& string) {
  Json::json_pointer pointer;
  try {
    pointer = Json::json_pointer(string);
  } catch (const Json::parse_error&) {
    throw UsageError("'" + string + "' is not a JSON pointer, such as /palettes/0/visible");
  }
  if (pointer.empty()) return pointer;
  const std::string key = string.substr(1, string.find('/', 1) - 1);
  const std::vector<std::string> keys = stateKeys();
  if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
    throw UsageError("the state has no '" + key + "'; the nearest are " + nearest(key, keys));
  }
  return pointer;
}

}  // namespace

HostMonitor::HostMonitor(Host& host)
    : host_(host),
      own_(ownKeys),
      trace_(host.interceptor().trace.subscribe([this](const Json& entry) { follow(entry); })) {}

Json HostMonitor::state() const {
  Json state = host_.state();
  for (const ProfileKey& key : profile().keys) state[key.name] = key.valueIn(host_);
  state.update(own_);
  state["references"] = resourceCounts().references;
  state["text"] = resourceCounts().strings;
  state["pendingFaults"] = pendingFaults();
  return state;
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
  if (event == "open") own_["opened"].push_back(entry["args"]);
  if (event == "threw") own_["thrown"].push_back(entry["type"]);
  if (event == "run" || event == "stop") own_[event] = nullptr;
  if (event == "run returned") own_["run"] = entry["value"];
  if (event == "stop returned") own_["stop"] = entry["value"];
  if (event == "run returned" && entry["value"] == false) ++failedRuns_;
  if (event == "stop returned" && entry["value"] == false) ++failedStops_;
}

std::optional<std::string> failedExpectation(const Arguments& arguments, bool negated,
                                             const Json& state) {
  const Json::json_pointer pointer = parsePointer(arguments[0]);
  const Json value = Json::parse(arguments[1], nullptr, false);
  if (value.is_discarded()) throw UsageError("'" + arguments[1] + "' is not JSON");
  std::string found = "nothing";
  bool equals = false;
  try {
    found = line(state.at(pointer));
    // Compared as printed, where bytes that are not UTF-8 are replaced.
    equals = nlohmann::json::parse(found) == nlohmann::json(value);
  } catch (const Json::exception&) {  // there is no such value
  }
  if (equals != negated) return {};
  return std::string("expected ") + (negated ? "not " : "") + pointer.to_string() + " " +
         line(value) + ", found " + found;
}

}  // namespace substitute
