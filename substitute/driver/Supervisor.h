// Plays scenarios, each in a child process that leads a process group of its own, unless it reads a
// terminal. This process never loads the add-in, so nothing that an add-in does keeps it from
// judging: it knows how each child ended, keeps the time, and ends what does not end by itself.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "substitute/api/Trace.h"

namespace substitute {

struct CrashRecord;

// How a scenario ended, as the process that played it says.
struct ScenarioEnd {
  int status = 0;      // the exit status
  std::string reason;  // why it did not pass: the first failure, a sentence without its full stop
  Json details = {};   // what else the supervising program wants to know
};

// How a scenario ended, as its supervisor sees it.
struct ScenarioResult {
  std::string name;
  int status = 0;         // the exit status that stands for this end
  int signal = 0;         // by which the process ended; 0: by none
  bool isCutOff = false;  // `signal` was sent to the supervisor
  std::string reason;     // why it did not pass, in a sentence without its full stop
  Json details;           // null when the process ended before the scenario did
  double seconds = 0;
  std::string output;  // where it is captured
  std::string errors;  // as captured, then the report (CrashReport.h), also where nothing is

  bool passed() const { return status == 0 && signal == 0; }
};

struct ScenarioTask {
  std::string name;
  std::function<ScenarioEnd()> play;  // called in the child
};

struct Supervision {
  std::string program;       // begins the reports
  unsigned timeout = 0;      // how many seconds a call of the add-in may take; 0: no limit
  unsigned jobs = 1;         // how many tasks are played at a time
  bool captures = true;      // the output is put into the results
  bool readsInput = false;   // a child reads the standard input of this process
  bool endsPrograms = true;  // what a child leaves running in its group ends with it
  // Asked ten times a second while a child plays. True: the call of the add-in is ended. Null: it
  // is not asked.
  std::function<bool(const CrashRecord& record)> endsCall = nullptr;
};

// Plays all tasks. Passes the results to `finished` in the order of the tasks, each as soon as it
// and those before it are there. When this process gets SIGINT, SIGTERM, SIGHUP or SIGQUIT, it ends
// the children, passes their results on, and returns the signal; else 0. SIGTSTP pauses it with the
// children. Throws std::runtime_error when a process cannot be made.
int supervise(const std::vector<ScenarioTask>& tasks, const Supervision& how,
              const std::function<void(const ScenarioResult&)>& finished);

// Forks a process, which the system ends with this one where it can. Throws std::runtime_error.
pid_t forkChild();

// To be called in a child that exits before its task has returned: `end` is its end nevertheless.
void tellEnd(const ScenarioEnd& end);

// Ends this process by the signal `number`. It leaves no memory dump; that of the child is enough.
[[noreturn]] void endBySignal(int number);

}  // namespace substitute
