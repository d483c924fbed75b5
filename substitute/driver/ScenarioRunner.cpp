#include "substitute/driver/ScenarioRunner.h"

#include <map>
#include <utility>

#include "substitute/driver/CrashReport.h"
#include "substitute/driver/Text.h"

namespace substitute {

ScenarioRunner::ScenarioRunner(Host& host, std::string addin, std::ostream& out)
    : host_(host), addinFile_(std::move(addin)), monitor_(host), reporter_(host, out) {}

void ScenarioRunner::play(const Command& command) {
  if (command.name.empty() && command.line.empty()) return;
  playing.publish(command);
  if (command.name.empty()) {
    if (atPrompt) return;
    reporter_.echo("");
    return reporter_.echo(command.line);
  }
  const CommandEntry& entry = *findCommand(command.name);
  CrashReport::noteCommand(command);
  place_ = command.place;
  ++commands_;
  if (entry.isQuery) return entry.play(*this, command.arguments);
  if (!atPrompt) reporter_.echo("> " + command.line);
  reporter_.forgetChanges();
  entry.play(*this, command.arguments);
  reporter_.reportChanges();
}

bool ScenarioRunner::conclude(bool strict, const ExpectedTrace* trace) {
  const std::vector<std::string> suspicious = suspicions();
  if (!suspicious.empty()) reporter_.print("What is suspicious:");
  for (const std::string& sentence : suspicious) {
    reporter_.report(sentence + ".");
    if (strict) noteFailure(sentence);
  }
  if (trace != nullptr) {
    ++expectations_;
    if (const auto difference = trace->difference()) {
      reporter_.print(*difference);
      noteFailure(*difference);
    }
  }
  if (strict || expectations_ > 0) {
    reporter_.print(std::to_string(commands_) + " commands, " + std::to_string(expectations_) +
                    " expectations, " + std::to_string(failures_) + " failed");
  }
  return failures_ == 0;
}

void ScenarioRunner::start() {
  if (addin_) return reporter_.report("The add-in is loaded already.");
  addin_ = std::make_unique<AddIn>(addinFile_);
  reporter_.report("The add-in is loaded.");
  reporter_.reportResult("run", addin_->run(host_));
}

void ScenarioRunner::stop() {
  if (!addin_) return reporter_.report("The add-in is not loaded.");
  reporter_.reportResult("stop", addin_->stop(host_));
  reporter_.reportChanges();
  unload();
}

void ScenarioRunner::unload() {
  if (!addin_) return reporter_.report("The add-in is not loaded.");
  addin_.reset();
  left_ = resourceCounts();
  const bool stays = AddIn::isLoaded(addinFile_);
  staysLoaded_ = staysLoaded_ || stays;
  reporter_.reportUnloaded(stays);
}

void ScenarioRunner::expect(const Expectation& expectation) {
  ++expectations_;
  const auto failure = expectation.failure(state());
  if (!failure) return;
  const std::string sentence = place_.empty() ? *failure : place_ + ": " + *failure;
  reporter_.print(sentence);
  noteFailure(sentence);
  failed.publish(sentence);
}

void ScenarioRunner::noteFailure(const std::string& sentence) {
  if (failures_ == 0) firstFailure_ = sentence;
  ++failures_;
}

// A sentence, without its full stop, for each kind of thing that a correct add-in does not do.
std::vector<std::string> ScenarioRunner::suspicions() const {
  std::vector<std::string> sentences;
  const auto add = [&sentences](const std::string& sentence, long times) {
    if (times == 0) return;
    sentences.push_back(sentence + (times == 1 ? "" : ", " + std::to_string(times) + " times"));
  };
  std::map<std::string, long> thrown;
  for (const std::string& type : monitor_.thrown()) ++thrown[type];
  for (const auto& [type, times] : thrown) add("An exception left the add-in: " + type, times);
  add("run returned false", monitor_.failedRuns());
  add("stop returned false", monitor_.failedStops());
  for (const std::string& fault : monitor_.pendingFaults()) {
    add("A failure was planned and did not happen: " + fault, 1);
  }
  add("The add-in is still loaded", loaded() ? 1 : 0);
  add("The process kept the library of the add-in that was unloaded", staysLoaded_ ? 1 : 0);
  const std::string left =
      plural(left_.references, "reference") + " and " + plural(left_.strings, "text");
  add("The add-in left " + left + " of the host's behind",
      left_.references != 0 || left_.strings != 0 ? 1 : 0);
  add("A reference was dropped that the add-in did not hold", resourceCounts().invalidReleases);
  add("A text was handed back that the add-in did not hold", resourceCounts().invalidDeallocations);
  return sentences;
}

}  // namespace substitute
