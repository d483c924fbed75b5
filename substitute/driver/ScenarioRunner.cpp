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
  bool isFirst = true;
  for (const Finding& finding : findings()) {
    if (finding.kind == Finding::Kind::untested && !strict) continue;
    if (std::exchange(isFirst, false)) reporter_.print("What is suspicious:");
    reporter_.report(finding.sentence + ".");
    if (strict) noteFailure(finding.sentence);
  }
  if (trace != nullptr) {
    ++expectations_;
    if (const auto difference = trace->difference()) {
      reporter_.print(*difference);
      for (const std::string& line : trace->differingCalls()) reporter_.report(line);
      noteFailure(*difference);
    }
  }
  if (strict || expectations_ > 0) {
    reporter_.print(plural(commands_, "command") + ", " + plural(expectations_, "expectation") +
                    ", " + std::to_string(failures_) + " failed");
  }
  return failures_ == 0;
}

void ScenarioRunner::start() {
  if (addin_) return reportNoEffect("The add-in is loaded already.");
  addin_ = std::make_unique<AddIn>(addinFile_);
  reporter_.report("The add-in is loaded.");
  const std::optional<bool> result = addin_->run(host_);
  if (result) reporter_.report(*result ? "run returned true." : "run returned false.");
}

void ScenarioRunner::stop() {
  if (!addin_) return reportNoEffect("The add-in is not loaded.");
  const std::optional<bool> result = addin_->stop(host_);
  if (result) reporter_.report(*result ? "stop returned true." : "stop returned false.");
  reporter_.reportChanges();
  unload();
}

void ScenarioRunner::unload() {
  if (!addin_) return reportNoEffect("The add-in is not loaded.");
  const AddIn::Remains remains = addin_->unload();
  addin_.reset();
  reporter_.reportUnloaded(remains);
  remains_.clear();
  const auto add = [this](const std::string& sentence) {
    remains_.push_back({sentence, Finding::Kind::leftover});
  };
  // Global objects that were not destroyed hold what they held.
  ResourceCounts left = resourceCounts();
  if (!remains.uniqueSymbol.empty()) left.references = 0;
  if (left.references != 0 || left.strings != 0) {
    add("The add-in left " + heldResources(left) + " of the host's behind");
  }
  for (const std::string& handler : remains.handlers) {
    handlersLeft_.push_back(
        {"The add-in left its handler " + handler + " registered", Finding::Kind::leftover});
  }
  std::vector<std::string> objects;
  for (const auto& listed : host_.objects()) {
    if (listed.object->isOfAddIn()) objects.push_back(listed.object->name());
  }
  if (!objects.empty()) add("The add-in left in the host: " + listed(objects));
  staysLoaded_ = staysLoaded_ || (remains.isLoaded && remains.uniqueSymbol.empty());
}

void ScenarioRunner::reportNoEffect(const std::string& sentence) {
  reporter_.report(sentence);
  withoutEffect_.push_back(placed(sentence.substr(0, sentence.size() - 1)));
}

void ScenarioRunner::expect(const Arguments& arguments, bool negated) {
  ++expectations_;
  const auto failure = failedExpectation(arguments, negated, state());
  if (!failure) return;
  const std::string sentence = placed(*failure);
  reporter_.print(sentence);
  noteFailure(sentence);
  failed.publish(sentence);
}

void ScenarioRunner::noteFailure(const std::string& sentence) {
  if (failures_ == 0) firstFailure_ = sentence;
  ++failures_;
}

std::vector<Finding> ScenarioRunner::findings() const {
  std::vector<Finding> all;
  const auto add = [&all](const std::string& sentence, long times,
                          Finding::Kind kind = Finding::Kind::other) {
    if (times == 0) return;
    all.push_back({sentence + (times == 1 ? "" : ", " + std::to_string(times) + " times"), kind});
  };
  std::map<std::string, long> thrown;
  for (const Json& type : monitor_.thrown()) ++thrown[type];
  for (const auto& [type, times] : thrown) add("An exception left the add-in: " + type, times);
  add("run returned false", monitor_.failedRuns());
  add("stop returned false", monitor_.failedStops());
  for (const std::string& fault : monitor_.pendingFaults()) {
    add("A failure was planned and did not happen: " + fault, 1);
  }
  add("The add-in is still loaded", loaded() ? 1 : 0);
  add("The process kept the library of the add-in that was unloaded", staysLoaded_ ? 1 : 0);
  all.insert(all.end(), handlersLeft_.begin(), handlersLeft_.end());
  all.insert(all.end(), remains_.begin(), remains_.end());
  add(invalidRelease, resourceCounts().invalidReleases, Finding::Kind::leftover);
  add(invalidDeallocation, resourceCounts().invalidDeallocations, Finding::Kind::leftover);
  for (const std::string& sentence : withoutEffect_) add(sentence, 1, Finding::Kind::untested);
  if (commands_ == 0) add("The scenario has no command", 1, Finding::Kind::untested);
  return all;
}

}  // namespace substitute
