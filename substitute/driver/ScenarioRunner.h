// Playing scenarios.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "substitute/api/Host.h"
#include "substitute/driver/AddIn.h"
#include "substitute/driver/Expectation.h"
#include "substitute/driver/HostMonitor.h"
#include "substitute/driver/Reporter.h"
#include "substitute/driver/Scenario.h"

namespace substitute {

// Plays commands on a host and reports the results.
class ScenarioRunner {
 public:
  // `addin` is the library that `start` loads; the report goes to `out`. Both references outlive
  // the runner.
  ScenarioRunner(Host& host, std::string addin, std::ostream& out);

  // Plays one command. Throws LoadError when the library cannot be loaded.
  void play(const Command& command);

  // Tells what is suspicious about all that was played, which `strict` makes failures; then, where
  // something was expected or is strict, the verdict. `trace` is null when no trace is expected.
  // The scenario is at its end. False when something failed.
  bool conclude(bool strict, const ExpectedTrace* trace);

  // True between `start` and `stop` or `unload`, whatever `run` returned.
  bool loaded() const { return addin_ != nullptr; }

  // A command, or a comment, that is played next.
  Signal<Command> playing;

  // An expectation has failed: the sentence that tells so. It is printed first.
  Signal<std::string> failed;

  // Somebody types the commands and reads what comes of them: no line is repeated, and the state is
  // indented.
  bool atPrompt = false;

  // For the actions of the commands.
  Host& host() { return host_; }
  Reporter& reporter() { return reporter_; }
  Json state() const { return monitor_.state(); }
  void start();
  void stop();
  void unload();
  void expect(const Expectation& expectation);

  // What failed first, as it was told; empty when nothing did.
  const std::string& firstFailure() const { return firstFailure_; }

  // True when an expectation has been played.
  bool expectsAnything() const { return expectations_ > 0; }

 private:
  void noteFailure(const std::string& sentence);
  std::vector<std::string> suspicions() const;

  Host& host_;
  std::string addinFile_;
  std::unique_ptr<AddIn> addin_;
  HostMonitor monitor_;
  Reporter reporter_;
  std::string place_;  // of the command that is played
  std::size_t commands_ = 0;
  std::size_t expectations_ = 0;
  std::size_t failures_ = 0;
  std::string firstFailure_;
  ResourceCounts left_;  // what was held when the add-in was unloaded last
  bool staysLoaded_ = false;
};

}  // namespace substitute
