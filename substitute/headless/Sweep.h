// The sweep of a scenario: it is played once for its calls of the host, then once more for each
// call and each way to fail.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "substitute/api/FaultPlan.h"
#include "substitute/driver/ScenarioRunner.h"
#include "substitute/driver/Supervisor.h"

namespace substitute {

// The outcomes of a run that --allow accepts.
inline const std::set<std::string> allowedOutcomes = {"leftover", "signal", "timeout"};

// What a run tells the sweep, as ScenarioEnd::details.
Json describeRun(const std::vector<Operation>& calls, const std::vector<Finding>& findings);

struct Sweep {
  std::string scenario;  // its name
  // Plays the scenario, with `fault` planned if it is not null. The details are describeRun().
  std::function<ScenarioEnd(const PlannedFault* fault)> play;
  Supervision how;
  std::set<std::string> allowed;  // of allowedOutcomes
};

// How a sweep ended.
struct SweepEnd {
  bool passed = false;
  int cutOffBy = 0;  // the signal that ended it; 0: none
};

// Prints a line for each run that did not end as the first one, then the totals; `finished` gets
// the result of each run, judged. A run fails when the process ended or a call did not return in
// time, and when the add-in left something that it did not leave in the first run.
SweepEnd run(const Sweep& sweep, const std::function<void(const ScenarioResult&)>& finished);

}  // namespace substitute
