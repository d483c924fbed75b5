// The parent of the process that shows the window, and what it asks the user. It never loads the
// add-in, so that nothing is lost when the add-in crashes or does not return.
#pragma once

#include <functional>
#include <string>

#include "substitute/driver/Supervisor.h"

namespace substitute {

// What the parent has other processes do.
struct WindowTasks {
  // Shows the window for `scenario`, and keeps what is played in the file `played`. The details of
  // the end are the scenario that a new window is to play; null: there is none.
  std::function<ScenarioEnd(const std::string& scenario, const std::string& played)> show;

  // Asks about a call that has not returned after two seconds. Its process is ended when the call
  // returns. True: the call is ended. Null: nobody is asked.
  std::function<bool(const CrashRecord& record)> watchHang;

  // Shows the report on the end of the window. True: a new one is to play the same scenario. Null:
  // the report is only printed.
  std::function<bool(const std::string& report, const std::string& played)> showReport;
};

// Shows windows as long as one is wanted, first one for `scenario`. Sets `captures` and
// `endsCall` of `how` itself. Returns the exit status of the last one, or ends by its signal.
int superviseWindow(const WindowTasks& tasks, Supervision how, std::string scenario);

// Asks, as long as the call lasts, whether it is to be ended. True: it is. Needs a QApplication.
bool wantsToEnd(const CrashRecord& record);

// Shows the report; `played` is the file with the scenario that led there. True: the window is to
// be started again. Needs a QApplication.
bool wantsToStartAgain(const std::string& report, const std::string& played);

}  // namespace substitute
