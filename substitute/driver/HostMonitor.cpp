#include "substitute/driver/HostMonitor.h"

#include "substitute/driver/Profile.h"

namespace substitute {

namespace {

Json toJson(const std::optional<bool>& value) {
  return value ? Json(*value) : Json();
}

}  // namespace

HostMonitor::HostMonitor(Host& host)
    : host_(host),
      trace_(host.interceptor().trace.subscribe([this](const Json& entry) { follow(entry); })) {}

const std::vector<HostMonitor::StateEntry>& HostMonitor::stateEntries() {
  static const std::vector<StateEntry> all = {
      {"references", [](const HostMonitor&) { return Json(resourceCounts().references); }},
      {"text", [](const HostMonitor&) { return Json(resourceCounts().strings); }},
      {"opened", [](const HostMonitor& monitor) { return Json(monitor.opened_); }},
      {"run", [](const HostMonitor& monitor) { return toJson(monitor.run_.last); }},
      {"stop", [](const HostMonitor& monitor) { return toJson(monitor.stop_.last); }},
      {"thrown", [](const HostMonitor& monitor) { return Json(monitor.thrown_); }},
      {"pendingFaults", [](const HostMonitor& monitor) { return Json(monitor.pendingFaults()); }},
  };
  return all;
}

Json HostMonitor::state() const {
  Json state = host_.state();
  for (const ProfileKey& key : profile().keys) state[key.name] = key.valueIn(host_);
  for (const StateEntry& entry : stateEntries()) state[entry.key] = entry.valueIn(*this);
  return state;
}

std::vector<std::string> HostMonitor::stateKeys() {
  std::vector<std::string> keys = Host::stateKeys();
  for (const ProfileKey& key : profile().keys) keys.emplace_back(key.name);
  for (const StateEntry& entry : stateEntries()) keys.emplace_back(entry.key);
  return keys;
}

std::vector<std::string> HostMonitor::pendingFaults() const {
  std::vector<std::string> words;
  for (const PlannedFault& fault : host_.interceptor().faults.pending()) {
    words.push_back(inWords(fault));
  }
  return words;
}

void HostMonitor::follow(const Json& entry) {
  const auto event = entry.find("event");
  if (event == entry.end()) return;
  if (*event == "open") opened_.push_back(entry["args"]);
  if (*event == "threw") thrown_.push_back(entry["type"]);
  for (auto [name, returned] : {std::pair("run", &run_), std::pair("stop", &stop_)}) {
    if (*event == name) returned->last.reset();
    if (*event != std::string(name) + " returned") continue;
    returned->last = entry["value"].get<bool>();
    if (!*returned->last) ++returned->failed;
  }
}

}  // namespace substitute
