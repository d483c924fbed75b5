// A host as the command line wants it, from its installation to its verdict.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "substitute/api/Host.h"
#include "substitute/driver/CrashReport.h"
#include "substitute/driver/Expectation.h"
#include "substitute/driver/Files.h"
#include "substitute/driver/Installation.h"
#include "substitute/driver/OpenRecorder.h"
#include "substitute/driver/ScenarioRunner.h"

namespace substitute {

struct CommandLine;

class HostSession {
 public:
  // Sets up the host and everything that records it, as `values` say, and tells where its data is.
  // `values` outlives the session; `program` begins the crash report. `scenarios`, as words, are
  // what is played; none: a user types the commands or clicks. `arguments` are those of the
  // process, its name included. Throws LoadError, UsageError or std::runtime_error, before the
  // add-in's folder is made.
  HostSession(const CommandLine& values, const std::string& program,
              const std::vector<std::string>& scenarios, std::vector<std::string> arguments);

  Host& host() { return host_; }
  ScenarioRunner& runner() { return *runner_; }

  // All has been played: tells the verdict where there is one. What a user did is judged only
  // where that was asked for. False when something failed. Throws UsageError when the trace is not
  // complete.
  bool conclude();

 private:
  const CommandLine& values_;
  bool playsScenario_;
  Installation installation_;
  Host host_;
  std::optional<CrashReport> crashReport_;
  std::optional<OpenRecorder> recorder_;
  std::optional<ExpectedTrace> expected_;
  std::optional<TraceFile> trace_;
  std::optional<ScenarioRunner> runner_;
  Signal<std::string>::Subscription shellErrors_;
};

}  // namespace substitute
