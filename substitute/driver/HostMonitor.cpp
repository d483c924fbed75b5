#include "substitute/driver/HostMonitor.h"

#include <fstream>

#include "substitute/driver/Velorin.h"

namespace substitute {

namespace {

Json toJson(const std::optional<bool>& value) {
  return value ? Json(*value) : Json();
}

// Empty when there is no file that can be read.
std::vector<std::string> linesOf(const std::string& path) {
  std::vector<std::string> lines;
  std::ifstream file(path, std::ios::binary);
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

}  // namespace

HostMonitor::HostMonitor(Host& host)
    : host_(host),
      trace_(host.interceptor().trace.subscribe([this](const Json& entry) { follow(entry); })) {}

Json HostMonitor::state() const {
  Json state = host_.state();
  const std::string infoFile = infoFileOf(host_);
  state["infoFile"] = infoFile;
  state["infoLines"] = linesOf(infoFile);
  state["references"] = resourceCounts().references;
  state["text"] = resourceCounts().strings;
  state["opened"] = opened_;
  state["run"] = toJson(run_.last);
  state["stop"] = toJson(stop_.last);
  state["thrown"] = thrown_;
  state["pendingFaults"] = pendingFaults();
  return state;
}

std::vector<std::string> HostMonitor::pendingFaults() const {
  std::vector<std::string> words;
  for (const PlannedFault& fault : host_.interceptor().faults.pending()) {
    words.push_back(nameOf(fault.operation) + " " + std::to_string(fault.nth) +
                    (fault.how == Failure::exception ? " throw" : " null"));
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
