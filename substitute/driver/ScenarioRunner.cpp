#include "substitute/driver/ScenarioRunner.h"

#include <utility>

namespace substitute {

ScenarioRunner::ScenarioRunner(Host& host, std::string addin, std::ostream& out)
    : host_(host), addinFile_(std::move(addin)), monitor_(host), reporter_(host, out) {}

void ScenarioRunner::play(const Command& command) {
  if (command.name.empty()) {
    if (!command.line.empty()) reporter_.print("\n" + command.line);
    return;
  }
  const CommandEntry& entry = *findCommand(command.name);
  if (entry.isQuery) return entry.play(*this, command.arguments);
  if (echo) reporter_.print("> " + command.line);
  reporter_.forgetChanges();
  entry.play(*this, command.arguments);
  reporter_.reportChanges();
}

void ScenarioRunner::start() {
  if (addin_) return reporter_.say("The add-in is loaded already.");
  addin_ = std::make_unique<AddIn>(addinFile_);
  reporter_.say("The add-in is loaded.");
  reporter_.reportResult("run", addin_->run(host_));
}

void ScenarioRunner::stop() {
  if (!addin_) return reporter_.say("The add-in is not loaded.");
  reporter_.reportResult("stop", addin_->stop(host_));
  reporter_.reportChanges();
  unload();
}

void ScenarioRunner::unload() {
  if (!addin_) return reporter_.say("The add-in is not loaded.");
  addin_.reset();
  reporter_.reportUnloaded(AddIn::isLoaded(addinFile_));
}

}  // namespace substitute
