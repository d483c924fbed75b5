#include "substitute/headless/Sweep.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <map>

#include "substitute/driver/Errors.h"
#include "substitute/driver/Text.h"

namespace substitute {

namespace {

// What came of a run with a fault, beside the first run.
struct Outcome {
  std::string sentences;  // empty: it ended as the first run
  std::string failure;    // the outcome that --allow would accept, or "ended"; empty: none
};

// Those in `all` that are not in `known`.
Json without(const Json& all, const Json& known) {
  Json left = Json::array();
  for (const Json& one : all) {
    if (std::find(known.begin(), known.end(), one) == known.end()) left.push_back(one);
  }
  return left;
}

Outcome compare(const ScenarioResult& result, const Json& first) {
  if (result.signal != 0) return {result.reason, "signal"};
  if (result.status == exit_status::timedOut) return {result.reason, "timeout"};
  if (result.details.is_null()) return {result.reason, "ended"};
  Outcome outcome;
  const auto add = [&outcome](const std::string& sentence) {
    outcome.sentences += (outcome.sentences.empty() ? "" : ". ") + sentence;
  };
  const Json& findings = result.details["findings"];
  for (const Json& finding : without(findings, first)) {
    add(finding["sentence"]);
    if (finding["isLeftover"] == true) outcome.failure = "leftover";
  }
  for (const Json& finding : without(first, findings)) {
    add("Not as without the failure: " + finding["sentence"].get<std::string>());
  }
  return outcome;
}

// A fault for each run of the sweep: every call of `calls`, those of the first run in their order,
// fails once in each way.
std::vector<PlannedFault> singleFaults(const Json& calls) {
  std::vector<PlannedFault> faults;
  std::map<std::string, std::uint64_t> made;
  for (const Json& call : calls) {
    const std::uint64_t nth = ++made[call];
    for (const Failure how : {Failure::null, Failure::exception}) {
      faults.push_back({operationNamed(call).value(), nth, how});
    }
  }
  return faults;
}

void printProgress(std::size_t done, std::size_t count) {
  if (isatty(STDERR_FILENO) != 1 || isatty(STDOUT_FILENO) == 1) return;
  std::cerr << '\r' << done << " of " << count << (done == count ? "\n" : "") << std::flush;
}

}  // namespace

Json describeRun(const std::vector<Operation>& calls, const std::vector<Finding>& findings) {
  Json details = {{"calls", Json::array()}, {"findings", Json::array()}};
  for (const Operation call : calls) details["calls"].push_back(nameOf(call));
  for (const Finding& finding : findings) {
    if (finding.kind == Finding::Kind::untested) continue;
    details["findings"].push_back(
        {{"sentence", finding.sentence}, {"isLeftover", finding.kind == Finding::Kind::leftover}});
  }
  return details;
}

SweepEnd run(const Sweep& sweep, const std::function<void(const ScenarioResult&)>& finished) {
  ScenarioResult first;
  const auto playFirst = [&sweep] { return sweep.play(nullptr); };
  int cutOffBy = supervise({{sweep.scenario, playFirst}}, sweep.how,
                           [&first](const ScenarioResult& result) { first = result; });
  if (first.passed() && first.details["calls"].empty()) {
    first.status = exit_status::failed;
    first.reason = "it makes no call of the host";
  }
  finished(first);
  if (!first.passed()) {
    std::cout << sweep.scenario << " fails by itself: " << printable(first.reason) << '\n'
              << first.output << std::flush;
    std::cerr << first.errors;
    return {false, cutOffBy};
  }
  const std::vector<PlannedFault> faults = singleFaults(first.details["calls"]);
  std::vector<ScenarioTask> tasks;
  tasks.reserve(faults.size());
  for (const PlannedFault& fault : faults) {
    tasks.push_back({"fail " + inWords(fault), [&] { return sweep.play(&fault); }});
  }
  std::size_t done = 0;
  std::size_t otherwise = 0;
  std::size_t failed = 0;
  cutOffBy = supervise(tasks, sweep.how, [&](ScenarioResult result) {
    const Outcome outcome = compare(result, first.details["findings"]);
    const bool fails = !outcome.failure.empty() && sweep.allowed.count(outcome.failure) == 0;
    if (!outcome.sentences.empty()) {
      ++otherwise;
      std::cout << (fails ? "failed: " : "differs: ") << result.name << ": "
                << printable(outcome.sentences) << std::endl;
    }
    if (fails) ++failed;
    result.name = sweep.scenario + ": " + result.name;
    if (!result.isCutOff) {
      result.signal = 0;
      result.status = fails ? exit_status::failed : 0;
      result.reason = fails ? outcome.sentences : "";
    }
    finished(result);
    printProgress(++done, tasks.size());
  });
  std::cout << sweep.scenario << ": " << done << " runs with a failing call, " << done - otherwise
            << " as without it, " << otherwise << " otherwise, " << failed << " failed"
            << std::endl;
  return {failed == 0 && cutOffBy == 0, cutOffBy};
}

}  // namespace substitute
