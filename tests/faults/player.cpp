// Plays cases of fault-test: fault-player ADDIN. Each line of standard input is a case, {"data":
// folder of the host, "addinFolder": whether the add-in's folder is made, "trace": file,
// "scenario": [commands]}. Each is played in a child process, as substitute-host plays a scenario.
// Then there is a line for each case, {"status", "signal", "output", "errors"}, in the order of the
// cases.
#include <cstdlib>
#include <iostream>
#include <sstream>

#include "substitute/driver/CommandLine.h"
#include "substitute/driver/Errors.h"
#include "substitute/driver/Folders.h"
#include "substitute/driver/HostSession.h"
#include "substitute/driver/Profile.h"
#include "substitute/driver/Scenario.h"
#include "substitute/driver/Supervisor.h"

namespace {

using namespace substitute;

constexpr const char* program = "substitute-host";
constexpr unsigned timeout = 60;  // in seconds; a case takes some milliseconds

void play(const CommandLine& values, const std::vector<std::string>& scenario) {
  HostSession session(values, "-");
  for (const std::string& line : scenario) session.runner().play(parseCommand(line));
  session.conclude();
  flushOutput();
}

CommandLine optionsFor(const std::string& addin) {
  CommandLine values;
  values.addin = addin;
  values.entitlement = profile().entitlement;
  return values;
}

ScenarioEnd playCase(const Json& one, const std::string& addin) {
  try {
    CommandLine values = optionsFor(addin);
    values.data = one["data"];
    values.noAddinFolder = !one["addinFolder"];
    values.trace = one["trace"];
    play(values, one["scenario"]);
    return {};
  } catch (const std::exception&) {
    return {printException(program).status, ""};
  }
}

#ifdef __APPLE__
// An emulator keeps the code that it has translated for the processes that are forked later. So
// this process plays a case, too, if a child shows that it ends well.
void playForTheEmulator(const std::string& addin) {
  const auto playOnce = [&addin] {
    const LockedFolder folder;
    Json one = Json::parse(R"({"addinFolder": true, "scenario": ["start", "state", "click",
        "online", "message https://a", "stop", "fail Toolbars.itemById 2 throw",
        "fail Palettes.itemById", "state", "start", "click", "state", "stop"]})");
    one["data"] = folder.path();
    one["trace"] = folder.path() + "/trace";
    return playCase(one, addin);
  };
  bool endsWell = false;
  supervise({{"", playOnce}}, {program, timeout},
            [&endsWell](const ScenarioResult& result) { endsWell = result.passed(); });
  if (!endsWell) return;
  std::ostringstream nothing;
  std::streambuf* const output = std::cout.rdbuf(nothing.rdbuf());
  tellEnd(playOnce());  // it reaches nobody
  std::cout.rdbuf(output);
}
#endif

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return EXIT_FAILURE;
  std::vector<ScenarioTask> tasks;
  for (std::string text; std::getline(std::cin, text);) {
    tasks.push_back({"", [one = Json::parse(text), argv] { return playCase(one, argv[1]); }});
  }
#ifdef __APPLE__
  if (tasks.size() > 1) playForTheEmulator(argv[1]);
#endif
  return supervise(tasks, {program, timeout}, [](const ScenarioResult& result) {
    std::cout << line({{"status", result.status},
                       {"signal", result.signal},
                       {"output", result.output},
                       {"errors", result.errors}})
              << '\n';
  });
}
