// Playing scenarios.
#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "substitute/api/Host.h"
#include "substitute/driver/AddIn.h"
#include "substitute/driver/HostMonitor.h"
#include "substitute/driver/Reporter.h"
#include "substitute/driver/Scenario.h"
#include "substitute/driver/TraceFiles.h"

namespace substitute {

// Something that --strict counts as a failure: what a correct add-in does not do, or a command that
// tests nothing.
struct Finding {
  // The add-in holds or has released what it should not.
  enum class Kind { leftover, other, untested };

  std::string sentence;  // without its full stop
  Kind kind = Kind::other;
};

// Plays commands on a host and reports the results.
class ScenarioRunner {
 public:
  // `addin` is the library that `start` loads; the report goes to `out`. Both references outlive
  // the runner.
  ScenarioRunner(Host& host, std::string addin, std::ostream& out);

  // Plays one command. Throws LoadError when the library cannot be loaded.
  void play(const Command& command);

  // Call it at the end of the scenario. Prints the findings; with `strict` each one is a failure,
  // and those that are untested are printed, too. Then prints the verdict, if something was
  // expected or with `strict`. `trace` is null when no trace is expected. False when something
  // failed.
  bool conclude(bool strict, const ExpectedTrace* trace);

  // True between `start` and `stop` or `unload`, whatever `run` returned.
  bool loaded() const { return addin_ != nullptr; }

  // Published before a command, or a comment, is played.
  Signal<Command> playing;

  // Published with a sentence when an expectation has failed, after the sentence was printed.
  Signal<std::string> failed;

  // Set it when a user types the commands at a prompt. No line is echoed then, and the state is
  // printed indented.
  bool atPrompt = false;

  // All findings so far.
  std::vector<Finding> findings() const;

  // Reports that the present command has no effect, since what it acts on is missing.
  void reportNoEffect(const std::string& sentence);

  // For the actions of the commands.
  Host& host() { return host_; }
  Reporter& reporter() { return reporter_; }
  Json state() const { return monitor_.state(); }
  void start();
  void stop();
  void unload();
  void expect(const Arguments& arguments, bool negated);

  // The sentence about the first failure; empty when nothing has failed.
  const std::string& firstFailure() const { return firstFailure_; }

  // True when an expectation has been played.
  bool expectsAnything() const { return expectations_ > 0; }

 private:
  void noteFailure(const std::string& sentence);

  // `sentence` after the place of the present command, where it has one.
  std::string placed(const std::string& sentence) const {
    return place_.empty() ? sentence : place_ + ": " + sentence;
  }

  Host& host_;
  std::string addinFile_;
  std::unique_ptr<AddIn> addin_;
  HostMonitor monitor_;
  Reporter reporter_;
  std::string place_;  // of the command that is being played
  long commands_ = 0;
  long expectations_ = 0;
  long failures_ = 0;
  std::string firstFailure_;
  std::vector<std::string> withoutEffect_;
  std::vector<Finding> remains_;  // of the add-in that was unloaded last
  std::vector<Finding> handlersLeft_;
  bool staysLoaded_ = false;
};

}  // namespace substitute
