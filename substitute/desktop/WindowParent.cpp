#include "substitute/desktop/WindowParent.h"

#include <cstdlib>
#include <iostream>
#include <optional>

#include "substitute/driver/LockedFolder.h"

namespace substitute {

namespace {

ScenarioResult superviseOne(const Supervision& how, const std::function<ScenarioEnd()>& task) {
  ScenarioResult end;
  supervise({{how.program, task}}, how, [&end](const ScenarioResult& result) { end = result; });
  return end;
}

// Shows one window, and the report on its end. Empty when the next one is to play `scenario`.
std::optional<ScenarioResult> showOne(const WindowTasks& tasks, const std::string& program,
                                      unsigned timeout, std::string& scenario) {
  const LockedFolder folder;
  const std::string played = folder.path() + "/played.txt";
  Supervision how{program, timeout};
  how.captures = false;
  how.watchHang = tasks.watchHang;
  const ScenarioResult end = superviseOne(how, [&] { return tasks.show(scenario, played); });
  std::cerr << end.errors;
  if (end.details.is_string()) {
    scenario = end.details;
    return {};
  }
  if (end.errors.empty() || end.isCutOff || !tasks.showReport) return end;
  Supervision plain{program};
  plain.captures = false;
  const ScenarioResult choice = superviseOne(plain, [&] {
    return ScenarioEnd{tasks.showReport(end.errors, played) ? EXIT_SUCCESS : EXIT_FAILURE, ""};
  });
  if (choice.passed()) return {};
  return end;
}

}  // namespace

int superviseWindow(const WindowTasks& tasks, const std::string& program, unsigned timeout,
                    std::string scenario) {
  while (true) {
    const std::optional<ScenarioResult> end = showOne(tasks, program, timeout, scenario);
    if (!end) continue;
    if (end->signal != 0) endBySignal(end->signal);
    return end->status;
  }
}

}  // namespace substitute
