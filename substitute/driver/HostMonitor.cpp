#include "substitute/driver/HostMonitor.h"

#include "substitute/driver/Velorin.h"

namespace substitute {

HostMonitor::HostMonitor(Host& host)
    : host_(host), trace_(host.interceptor().trace.subscribe([this](const Json& entry) {
        const auto event = entry.find("event");
        if (event != entry.end() && *event == "open") opened_.push_back(entry["args"]);
      })) {}

Json HostMonitor::state() const {
  Json state = host_.state();
  state["infoFile"] = infoFileOf(host_);
  state["references"] = resourceCounts().references;
  state["text"] = resourceCounts().strings;
  state["opened"] = opened_;
  return state;
}

}  // namespace substitute
