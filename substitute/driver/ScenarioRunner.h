// Playing scenarios.
#pragma once

#include <iosfwd>
#include <memory>
#include <string>

#include "substitute/api/Host.h"
#include "substitute/driver/AddIn.h"
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

  // True between `start` and `stop` or `unload`, whatever `run` returned.
  bool loaded() const { return addin_ != nullptr; }

  // Whether each command is printed above its results.
  bool echo = true;

  // For the actions of the commands.
  Host& host() { return host_; }
  Reporter& reporter() { return reporter_; }
  Json state() const { return monitor_.state(); }
  void start();
  void stop();
  void unload();

 private:
  Host& host_;
  std::string addinFile_;
  std::unique_ptr<AddIn> addin_;
  HostMonitor monitor_;
  Reporter reporter_;
};

}  // namespace substitute
