#include "substitute/driver/Commands.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <sstream>
#include <utility>

#include "substitute/api/Host.h"
#include "substitute/driver/HostMonitor.h"
#include "substitute/driver/Profile.h"
#include "substitute/driver/Scenario.h"
#include "substitute/driver/ScenarioRunner.h"
#include "substitute/driver/Text.h"

namespace substitute {

namespace {

// The names of the objects' kinds, in the order of ObjectKind.
const std::vector<std::string> kinds = {"palette", "definition", "control", "plain-control",
                                        "toolbar"};

// Throws UsageError for a name that is not one of `kinds`.
ObjectKind parseKind(const std::string& name) {
  const auto kind = std::find(kinds.begin(), kinds.end(), name);
  if (kind != kinds.end()) return static_cast<ObjectKind>(kind - kinds.begin());
  throw UsageError("'" + name + "' is not a kind of object; there are " + listed(kinds));
}

void click(ScenarioRunner& runner, const Arguments& arguments) {
  const std::string id = arguments.empty() ? profile().button : arguments[0];
  const ClickResult result = runner.host().click(id);
  if (result == ClickResult::noControl) {
    runner.reportNoEffect("There is no button " + quoted(id) + ".");
  } else if (result == ClickResult::noDefinition) {
    runner.reportNoEffect("The button " + quoted(id) + " has no command; nothing happens.");
  }
}

void sendMessage(ScenarioRunner& runner, const std::string& palette,
                 std::optional<std::string> data) {
  if (runner.host().message(palette, std::move(data))) return;
  runner.reportNoEffect("There is no palette " + quoted(palette) + " whose page could send that.");
}

// Throws UsageError.
int parseLanguage(const std::string& word) {
  int number = 0;
  if (!parseNumber(word, number)) throw UsageError("'" + word + "' is not a 32-bit number");
  return number;
}

void setEntitlement(ScenarioRunner& runner, const Arguments& arguments) {
  runner.host().setEntitlement(arguments.empty() ? std::nullopt : std::optional(arguments[0]));
}

void reportNoPalette(ScenarioRunner& runner, const std::string& id) {
  runner.reportNoEffect("There is no palette " + quoted(id) + ".");
}

template <bool visible>
void setVisible(ScenarioRunner& runner, const Arguments& arguments) {
  const std::string id = arguments.empty() ? profile().palette : arguments[0];
  if (!runner.host().setVisible(id, visible)) reportNoPalette(runner, id);
}

// Throws UsageError.
int parseDockingState(const std::string& word) {
  constexpr int last = 4;
  int state = 0;
  if (parseNumber(word, state) && state >= 0 && state <= last) return state;
  throw UsageError("'" + word +
                   "' is not a docking state: 0 floats, 1 top, 2 bottom, 3 left, 4 right");
}

void dock(ScenarioRunner& runner, const Arguments& arguments) {
  const int state = parseDockingState(arguments[1]);
  if (!runner.host().setDockingState(arguments[0], state)) reportNoPalette(runner, arguments[0]);
}

void checkPlantArguments(const Arguments& arguments) {
  if (parseKind(arguments[0]) == ObjectKind::toolbar) {
    throw UsageError("a toolbar can only be removed");
  }
}

void plant(ScenarioRunner& runner, const Arguments& arguments) {
  if (runner.host().plant(parseKind(arguments[0]), arguments[1])) return;
  runner.reportNoEffect("The host refuses the " + arguments[0] + " " + quoted(arguments[1]) +
                        ": its id is taken, or there is no toolbar to put it in.");
}

void remove(ScenarioRunner& runner, const Arguments& arguments) {
  if (runner.host().remove(parseKind(arguments[0]), arguments[1])) return;
  runner.reportNoEffect("There is no " + arguments[0] + " " + quoted(arguments[1]) + ".");
}

// OPERATION [N] [null|throw]. Throws UsageError.
PlannedFault parseFault(const Arguments& arguments) {
  const std::optional<Operation> operation = operationNamed(arguments[0]);
  if (!operation) {
    throw UsageError("'" + arguments[0] + "' is not an operation of the host; the nearest are " +
                         nearest(arguments[0], operationNames()),
                     "--list-operations");
  }
  PlannedFault fault{*operation, 1, Failure::null};
  Arguments how(arguments.begin() + 1, arguments.end());
  if (!how.empty() && parseNumber(how[0], fault.nth)) how.erase(how.begin());
  if (fault.nth == 0) throw UsageError("calls are counted from 1");
  if (how == Arguments{"throw"}) {
    fault.how = Failure::exception;
  } else if (!how.empty() && how != Arguments{"null"}) {
    throw UsageError("'fail' takes OPERATION [N] [null|throw]");
  }
  return fault;
}

void planFault(ScenarioRunner& runner, const Arguments& arguments) {
  const PlannedFault fault = parseFault(arguments);
  runner.host().interceptor().faults.add(fault.operation, fault.nth, fault.how);
  const std::string which = fault.nth == 1 ? "The next call of " + arguments[0]
                                           : "Call " + std::to_string(fault.nth) + " of " +
                                                 arguments[0] + ", counted from here,";
  runner.reporter().report(
      which + (fault.how == Failure::exception ? " will throw." : " will return nothing."));
}

template <bool equal>
void expect(ScenarioRunner& runner, const Arguments& arguments) {
  runner.expect(arguments, !equal);
}

void checkExpectation(const Arguments& arguments) {
  failedExpectation(arguments, false, {});  // throws for wrong ones
}

void printState(ScenarioRunner& runner, const Arguments& /*arguments*/) {
  const Json state = runner.state();
  std::istringstream lines(runner.atPrompt ? indented(state) : line(state));
  for (std::string one; std::getline(lines, one);) runner.reporter().print(one);
}

// " (ID)", for the help of a command that means the object `id` where none is named.
std::string unlessNamed(const std::string& id) {
  return id.empty() ? "" : " (" + id + ")";
}

// The table with the commands of the profile before the last entry, `state`.
std::vector<CommandEntry> withCommandsOfProfile(std::vector<CommandEntry> entries) {
  const std::vector<CommandEntry>& further = profile().commands;
  entries.insert(entries.end() - 1, further.begin(), further.end());
  return entries;
}

// The candidates for the argument of `command` after `before`; none where any word is possible.
std::vector<std::string> candidates(const CommandEntry& command, const Host& host,
                                    const Arguments& before) {
  const std::vector<std::string> usage = wordsIn(command.usage);
  const std::string argument = before.size() < usage.size() ? usage[before.size()] : "";
  if (argument == "KIND") {
    const bool canBeToolbar = command.name == "remove";
    return {kinds.begin(), canBeToolbar ? kinds.end() : kinds.end() - 1};
  }
  if (argument == "STATE") return {"0", "1", "2", "3", "4"};
  if (argument == "OPERATION") return operationNames();
  if (argument == "[N]" || argument == "[null|throw]") return {"null", "throw"};
  std::vector<std::string> ids;
  if ((argument == "ID" || argument == "[ID]") && command.name != "plant") {
    const std::string kind = command.name == "click" ? "control"
                             : before.empty()        ? "palette"
                                                     : before[0];
    for (const auto& [itsKind, object] : host.objects()) {
      if (kinds[static_cast<std::size_t>(itsKind)] == kind) ids.push_back(object->id());
    }
  }
  return ids;
}

template <class Entry>
std::string row(const Entry& entry, HelpLayout layout) {
  constexpr std::size_t width = 34;
  const std::string usage = std::string(entry.name) + " " + entry.usage;
  if (layout == HelpLayout::narrow) return usage + "\n    " + entry.help + "\n";
  return "  " + usage + std::string(usage.size() < width ? width - usage.size() : 1, ' ') +
         entry.help + "\n";
}

}  // namespace

const std::vector<CommandEntry>& commands() {
  using Runner = ScenarioRunner;
  static const std::vector<CommandEntry> all = withCommandsOfProfile({
      {"start", "", "load the library, call run, tell its result",
       [](Runner& runner, const Arguments&) { runner.start(); }},
      {"stop", "", "call stop, tell its result, unload the library",
       [](Runner& runner, const Arguments&) { runner.stop(); }},
      {"unload", "", "unload without stop",
       [](Runner& runner, const Arguments&) { runner.unload(); }},
      {"click", "[ID]",
       "press the button" + unlessNamed(profile().button) + ": create and execute its command",
       click},
      {"message", "[DATA]", "the learning page sends DATA, all bytes after the one space",
       [](Runner& runner, const Arguments& arguments) {
         sendMessage(runner, profile().palette, arguments.empty() ? "" : arguments[0]);
       }},
      {"message-to", "ID [DATA]", "the page of the palette ID sends DATA, likewise",
       [](Runner& runner, const Arguments& arguments) {
         sendMessage(runner, arguments[0], arguments.size() == 1 ? "" : arguments[1]);
       }},
      {"message-null", "", "the learning page sends a message without a string",
       [](Runner& runner, const Arguments&) { sendMessage(runner, profile().palette, {}); }},
      {"online", "", "go online and raise the online-status event",
       [](Runner& runner, const Arguments&) { runner.host().setOffline(false); }},
      {"offline", "", "go offline and raise the online-status event",
       [](Runner& runner, const Arguments&) { runner.host().setOffline(true); }},
      {"language", "N", "set the host's user language (2 is Czech)",
       [](Runner& runner, const Arguments& arguments) {
         runner.host().setLanguage(parseLanguage(arguments[0]));
       },
       [](const Arguments& arguments) { parseLanguage(arguments[0]); }},
      {"entitlement", "[TEXT]", "set the host's entitlement text; alone, the host has none",
       setEntitlement},
      {"hide", "[ID]", "the user hides the palette" + unlessNamed(profile().palette),
       setVisible<false>},
      {"show", "[ID]", "the user shows the palette" + unlessNamed(profile().palette),
       setVisible<true>},
      {"close", "[ID]", "the user closes the palette with its close button, which hides it",
       setVisible<false>},
      {"dock", "ID STATE", "the user drags the palette: 0 floats, 1 top, 2 bottom, 3 left, 4 right",
       dock, [](const Arguments& arguments) { parseDockingState(arguments[1]); }},
      {"plant", "KIND ID", "put a palette, definition, control or plain-control there", plant,
       checkPlantArguments},
      {"remove", "KIND ID", "take one of these away, or a toolbar", remove,
       [](const Arguments& arguments) { parseKind(arguments[0]); }},
      {"fail", "OPERATION [N] [null|throw]", "the N-th coming call of OPERATION (1) fails once",
       planFault, [](const Arguments& arguments) { parseFault(arguments); }},
      {"expect", "POINTER JSON", "the state at that JSON pointer equals the value", expect<true>,
       checkExpectation, true},
      {"expect-not", "POINTER JSON", "it does not, or there is nothing", expect<false>,
       checkExpectation, true},
      {"state", "", "print the host's state as one line of JSON", printState, nullptr, true},
  });
  return all;
}

const CommandEntry* findCommand(const std::string& name) {
  for (const CommandEntry& entry : commands()) {
    if (name == entry.name) return &entry;
  }
  return nullptr;
}

std::string commandList(HelpLayout layout) {
  std::string list = "Commands of a scenario, one a line; # starts a comment line:\n";
  for (const CommandEntry& entry : commands()) list += row(entry, layout);
  return list;
}

std::string help(const std::string& name, const std::vector<PromptWord>& words, const Host& host,
                 HelpLayout layout) {
  const bool all = name.empty();
  std::string list = all ? commandList(layout) + "At the prompt also:\n" : "";
  for (const PromptWord& word : words) {
    if (all || name == word.name) list += row(word, layout);
  }
  if (const CommandEntry* const entry = findCommand(name)) {
    list += row(*entry, layout);
    const Arguments choice = candidates(*entry, host, {});
    if (!choice.empty()) list += "  It takes one of these: " + listed(choice) + ".\n";
  }
  if (list.empty()) throw UsageError("'" + name + "' is not a command; 'help' lists them");
  return list;
}

std::vector<std::string> completionsAtPrompt(const std::string& typed, const Host& host,
                                             const std::vector<PromptWord>& words) {
  const bool asks = typed.rfind(std::string(helpWord.name) + " ", 0) == 0;
  Arguments before = wordsIn(asks ? typed.substr(typed.find(' ')) : typed);
  std::string begun;
  if (!before.empty() && typed.back() != ' ') {
    begun = before.back();
    before.pop_back();
  }
  std::vector<std::string> found;
  if (before.empty()) {
    for (const CommandEntry& entry : commands()) found.push_back(entry.name);
    for (const PromptWord& word : words) found.emplace_back(word.name);
  } else if (const CommandEntry* const entry = findCommand(before[0])) {
    before.erase(before.begin());
    found = candidates(*entry, host, before);
  }
  const auto differs = [&](const std::string& word) { return word.rfind(begun, 0) != 0; };
  found.erase(std::remove_if(found.begin(), found.end(), differs), found.end());
  return found;
}

}  // namespace substitute
