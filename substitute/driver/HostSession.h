// One run of a host: its installation, its recorders, its scenario runner and its verdict.
#pragma once

#include <optional>
#include <string>

#include "substitute/api/Host.h"
#include "substitute/driver/CrashReport.h"
#include "substitute/driver/Folders.h"
#include "substitute/driver/OpenRecorder.h"
#include "substitute/driver/ScenarioRunner.h"
#include "substitute/driver/TraceFiles.h"

namespace substitute {

struct CommandLine;

class HostSession {
 public:
  // Sets up the host and its recorders by the options `values`, and prints where its data is.
  // `values` outlives the session. `scenario` is the argument SCENARIO; empty when a user types the
  // commands or clicks. Throws LoadError, UsageError or std::runtime_error, before the add-in's
  // folder is created.
  HostSession(const CommandLine& values, const std::string& scenario);

  Host& host() { return host_; }
  ScenarioRunner& runner() { return *runner_; }

  // Call it when all has been played. Prints the verdict for a scenario, and for a user's commands
  // if something was expected of them or --strict was given. False when something failed. Throws
  // UsageError when the trace could not be written in full.
  bool conclude();

 private:
  std::string chooseFolder();
  Settings settings() const;

  // The file of the profile; empty when there is none, or the add-in is another that has none.
  std::string fileOfAddIn() const;

  // Creates the add-in's folder as an installer would, unless the options exclude it. Prints a
  // warning when the add-in will not find it.
  void addFolder();

  // Where the data is, for the user, and whether another host uses it. Empty for a scenario, unless
  // the options name the executable or there is another host.
  std::string description() const;

  const CommandLine& values_;
  bool playsScenario_;
  std::optional<LockedFolder> temporary_;
  std::string folder_;  // in which the host is installed; not used with --executable
  std::optional<FolderLock> lock_;
  Host host_;
  CrashReport crashReport_;
  std::optional<OpenRecorder> recorder_;
  std::optional<ExpectedTrace> expected_;
  std::optional<TraceFile> trace_;
  std::optional<ScenarioRunner> runner_;
  Signal<Json>::Subscription calls_;
};

}  // namespace substitute
