// The report on standard error when the add-in ends the process: by a signal, by an exit, or by a
// call that takes longer than --timeout.
#pragma once

#include <string>

#include "substitute/api/Host.h"
#include "substitute/driver/Scenario.h"

namespace substitute {

// The name of a signal that ends a process, such as SIGABRT.
std::string signalName(int number);

// Installs handlers for fatal signals and for exits. They report the last call of the host, the
// activity that was under way, the command of the scenario, the last lines of the trace and the
// stack. After a signal the process then ends by the same signal. The handlers stay installed.
class CrashReport {
 public:
  // `program` begins the report. `timeout` is the number of seconds that a call of the add-in may
  // take; 0: no limit.
  CrashReport(Host& host, const std::string& program, unsigned timeout);
  CrashReport(const CrashReport&) = delete;
  CrashReport& operator=(const CrashReport&) = delete;

  // Names the command that is played from now on.
  static void noteCommand(const Command& command);

  // While it exists, the report names `what` as the activity of the add-in that is under way.
  class Activity {
   public:
    explicit Activity(const char* what);
    ~Activity();
    Activity(const Activity&) = delete;
    Activity& operator=(const Activity&) = delete;
  };

 private:
  Signal<Operation>::Subscription callBegins_;
  Signal<Json>::Subscription trace_;
  Signal<>::Subscription callReturned_;
};

}  // namespace substitute
