// The report of a host that the add-in ends: by a signal, by ending the process, or by a call that
// does not return.
#pragma once

#include <string>

#include "substitute/api/Host.h"
#include "substitute/driver/Scenario.h"

namespace substitute {

// The name of a signal that ends a process, such as SIGABRT.
std::string signalName(int number);

// From its construction on, whatever takes the process down is told on standard error: the last
// call of the host, what was under way, the command of the scenario, the end of the trace and the
// stack. The process then ends as it would have ended, by the signal.
class CrashReport {
 public:
  // `program` begins the report. `timeout` is the time in seconds that a call of the add-in may
  // take; 0 is any time.
  CrashReport(Host& host, const std::string& program, unsigned timeout);
  CrashReport(const CrashReport&) = delete;
  CrashReport& operator=(const CrashReport&) = delete;

  // The command that is played from now on.
  static void noteCommand(const Command& command);

  // While it lives, the add-in has the process: `what` it does there is told in the report.
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
