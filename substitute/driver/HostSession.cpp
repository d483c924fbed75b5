#include "substitute/driver/HostSession.h"

#include <iostream>

#include "substitute/driver/AddIn.h"
#include "substitute/driver/Calls.h"
#include "substitute/driver/CommandLine.h"
#include "substitute/driver/Errors.h"

namespace substitute {

HostSession::HostSession(const CommandLine& values, const std::string& program,
                         const std::vector<std::string>& scenarios)
    : values_(values),
      playsScenario_(!scenarios.empty()),
      installation_(values, playsScenario_),
      host_(installation_.settings()) {
  if (!values.trace.empty()) checkTrace(values, scenarios, host_);
  crashReport_.emplace(host_, program, values.timeout);
  if (!values.systemOpen) recorder_.emplace(host_);
  { const AddIn known(values.addin); }  // throws before the add-in's folder is created
  if (!values.expectedTrace.empty()) expected_.emplace(values.expectedTrace);
  if (!values.trace.empty()) trace_.emplace(values.trace);
  installation_.addFolder(host_);
  if (trace_) trace_->begin(host_);
  if (expected_) expected_->begin(host_);
  const std::string place = installation_.description(host_);
  if (!place.empty()) std::cout << place << std::endl;
  runner_.emplace(host_, values.addin, std::cout);
  if (values.calls) calls_ = printCalls(*runner_, *values.calls);
  if (recorder_) {
    shellErrors_ = recorder_->shellFailed.subscribe([this](const std::string& error) {
      runner_->reporter().report("The shell complains: " + error + ".");
    });
  }
}

bool HostSession::conclude() {
  bool passed = true;
  if (playsScenario_ || values_.strict || expected_ || runner_->expectsAnything()) {
    passed = runner_->conclude(values_.strict, expected_ ? &*expected_ : nullptr);
  }
  if (recorder_) recorder_->checkRecorded();
  if (trace_ && !trace_->good()) {
    throw UsageError("the trace could not be written in full", "--trace");
  }
  return passed;
}

}  // namespace substitute
