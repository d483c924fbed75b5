#include "substitute/driver/Commands.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <sstream>
#include <utility>

#include "substitute/api/Host.h"
#include "substitute/api/HostObjects.h"
#include "substitute/driver/Expectation.h"
#include "substitute/driver/Profile.h"
#include "substitute/driver/Scenario.h"
#include "substitute/driver/ScenarioRunner.h"
#include "substitute/driver/Text.h"

namespace substitute {

namespace {

const std::vector<std::pair<std::string, ObjectKind>> kinds = {
    {"palette", ObjectKind::palette},
    {"definition", ObjectKind::definition},
    {"control", ObjectKind::control},
    {"toolbar", ObjectKind::toolbar},
    {"plain-control", ObjectKind::plainControl},
};

// Throws ScenarioError for a name that is not one of `kinds`.
ObjectKind parseKind(const std::string& name) {
  std::vector<std::string> all;
  for (const auto& kind : kinds) {
    if (kind.first == name) return kind.second;
    all.push_back(kind.first);
  }
  throw ScenarioError("'" + name + "' is not a kind of object; there are " + listed(all));
}

void click(ScenarioRunner& runner, const Arguments& arguments) {
  const std::string id = arguments.empty() ? profile().button : arguments[0];
  switch (runner.host().click(id)) {
    case ClickResult::done:
      break;
    case ClickResult::noControl:
      runner.reportNoEffect("There is no button " + quoted(id) + ".");
      break;
    case ClickResult::noDefinition:
      runner.reportNoEffect("The button " + quoted(id) + " has no command; nothing happens.");
      break;
  }
}

void sendMessage(ScenarioRunner& runner, const std::string& palette,
                 std::optional<std::string> data) {
  if (runner.host().message(palette, std::move(data))) return;
  runner.reportNoEffect("There is no palette " + quoted(palette) + " whose page could send that.");
}

void checkLanguage(const Arguments& arguments) {
  if (!parseLanguage(arguments[0])) throw ScenarioError(notALanguage(arguments[0]));
}

void setLanguage(ScenarioRunner& runner, const Arguments& arguments) {
  runner.host().setLanguage(parseLanguage(arguments[0]).value());
}

void setEntitlement(ScenarioRunner& runner, const Arguments& arguments) {
  runner.host().setEntitlement(arguments.empty() ? std::nullopt : std::optional(arguments[0]));
}

void reportNoPalette(ScenarioRunner& runner, const std::string& id) {
  runner.reportNoEffect("There is no palette " + quoted(id) + ".");
}

void setVisible(ScenarioRunner& runner, const Arguments& arguments, bool visible) {
  const std::string id = arguments.empty() ? profile().palette : arguments[0];
  if (!runner.host().setVisible(id, visible)) reportNoPalette(runner, id);
}

void hide(ScenarioRunner& runner, const Arguments& arguments) {
  setVisible(runner, arguments, false);
}

void show(ScenarioRunner& runner, const Arguments& arguments) {
  setVisible(runner, arguments, true);
}

// Throws ScenarioError.
int parseDockingState(const std::string& word) {
  constexpr int last = 4;
  int state = 0;
  if (!parseNumber(word, state) || state < 0 || state > last) {
    throw ScenarioError("'" + word +
                        "' is not a docking state; they are 0 (floating), 1 (top), 2 (bottom), 3 "
                        "(left) and 4 (right)");
  }
  return state;
}

void dock(ScenarioRunner& runner, const Arguments& arguments) {
  const int state = parseDockingState(arguments[1]);
  if (!runner.host().setDockingState(arguments[0], state)) reportNoPalette(runner, arguments[0]);
}

void checkPlantArguments(const Arguments& arguments) {
  if (parseKind(arguments[0]) == ObjectKind::toolbar) {
    throw ScenarioError("a toolbar can only be removed");
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

struct Fault {
  Operation operation;
  std::uint64_t nth = 1;
  Failure how = Failure::null;
};

// OPERATION [N] [null|throw]. Throws ScenarioError.
Fault parseFault(const Arguments& arguments) {
  const std::optional<Operation> operation = operationNamed(arguments[0]);
  if (!operation) {
    throw ScenarioError("'" + arguments[0] + "' is not an operation of the host; the nearest are " +
                            listed(nearest(arguments[0], operationNames())),
                        "--list-operations");
  }
  Fault fault{*operation};
  std::size_t next = 1;
  if (next < arguments.size() && parseNumber(arguments[next], fault.nth)) ++next;
  if (fault.nth == 0) throw ScenarioError("calls are counted from 1");
  if (next < arguments.size()) {
    if (arguments[next] != "null" && arguments[next] != "throw") {
      throw ScenarioError("'" + arguments[next] +
                          "' is not a count of calls, nor 'null' or 'throw'");
    }
    fault.how = arguments[next] == "throw" ? Failure::exception : Failure::null;
    ++next;
  }
  if (next < arguments.size()) throw ScenarioError("'fail' takes nothing behind that");
  return fault;
}

void planFault(ScenarioRunner& runner, const Arguments& arguments) {
  const Fault fault = parseFault(arguments);
  runner.host().interceptor().faults.add(fault.operation, fault.nth, fault.how);
  const std::string which = fault.nth == 1 ? "The next call of " + arguments[0]
                                           : "Call " + std::to_string(fault.nth) + " of " +
                                                 arguments[0] + ", counted from here,";
  runner.reporter().report(
      which + (fault.how == Failure::exception ? " will throw." : " will return nothing."));
}

void expect(ScenarioRunner& runner, const Arguments& arguments) {
  runner.expect(Expectation(arguments, false));
}

void expectNot(ScenarioRunner& runner, const Arguments& arguments) {
  runner.expect(Expectation(arguments, true));
}

void checkExpectation(const Arguments& arguments) {
  Expectation(arguments, false);
}

// Completion: the words for each command's arguments.

using Words = std::vector<std::string>;

template <class Collection>
Words idsIn(const Collection& collection) {
  Words ids;
  for (const auto& item : collection.items()) ids.push_back(item->id());
  return ids;
}

Words controlIds(const Host& host, bool showsCommand) {
  Words ids;
  for (const auto& toolbar : host.application().userInterface->toolbars->all.items()) {
    for (const auto& control : toolbar->controls->all.items()) {
      if (control->showsCommand() == showsCommand) ids.push_back(control->id());
    }
  }
  return ids;
}

Words idsOf(const Host& host, ObjectKind kind) {
  const UserInterfaceObject& ui = *host.application().userInterface;
  switch (kind) {
    case ObjectKind::palette:
      return idsIn(ui.palettes->all);
    case ObjectKind::definition:
      return idsIn(ui.definitions->all);
    case ObjectKind::control:
    case ObjectKind::plainControl:
      return controlIds(host, kind == ObjectKind::control);
    case ObjectKind::toolbar:
      return idsIn(ui.toolbars->all);
  }
  return {};
}

Words buttonWords(const Host& host, const Arguments& before) {
  return before.empty() ? controlIds(host, true) : Words();
}

Words paletteWords(const Host& host, const Arguments& before) {
  return before.empty() ? idsOf(host, ObjectKind::palette) : Words();
}

Words dockWords(const Host& host, const Arguments& before) {
  return before.size() == 1 ? Words{"0", "1", "2", "3", "4"} : paletteWords(host, before);
}

Words plantWords(const Host& /*host*/, const Arguments& before) {
  Words names;
  if (!before.empty()) return names;
  for (const auto& kind : kinds) {
    if (kind.second != ObjectKind::toolbar) names.push_back(kind.first);
  }
  return names;
}

Words removeWords(const Host& host, const Arguments& before) {
  Words words;
  if (before.empty()) {
    for (const auto& kind : kinds) words.push_back(kind.first);
  } else if (before.size() == 1) {
    for (const auto& kind : kinds) {
      if (kind.first == before[0]) words = idsOf(host, kind.second);
    }
  }
  return words;
}

Words faultWords(const Host& /*host*/, const Arguments& before) {
  std::uint64_t nth = 0;
  if (before.empty()) return operationNames();
  if (before.size() == 1) return {"1", "2", "3", "null", "throw"};
  if (before.size() == 2 && parseNumber(before[1], nth)) return {"null", "throw"};
  return {};
}

// " (ID)", for the help of a command that means the object `id` where none is named.
std::string unlessNamed(const std::string& id) {
  return id.empty() ? "" : " (" + id + ")";
}

// Those of the profile stand before the last one.
std::vector<CommandEntry> withCommandsOfProfile(std::vector<CommandEntry> entries) {
  const std::vector<CommandEntry>& further = profile().commands;
  entries.insert(entries.end() - 1, further.begin(), further.end());
  return entries;
}

constexpr ArgumentForm none = {0, 0};
constexpr ArgumentForm atMostOne = {0, 1};
constexpr ArgumentForm exactlyOne = {1, 1};
constexpr ArgumentForm two = {2, 2};
constexpr ArgumentForm restOfLine = {0, 1, true};
constexpr ArgumentForm idAndRest = {1, 2, true, 1};
constexpr ArgumentForm pointerAndRest = {2, 2, true, 1};

}  // namespace

const std::vector<CommandEntry>& commands() {
  using Runner = ScenarioRunner;
  static const std::vector<CommandEntry> all = withCommandsOfProfile({
      {"start", "", "load the library, call run, tell its result", none,
       [](Runner& runner, const Arguments&) { runner.start(); }},
      {"stop", "", "call stop, tell its result, unload the library", none,
       [](Runner& runner, const Arguments&) { runner.stop(); }},
      {"unload", "", "unload without stop", none,
       [](Runner& runner, const Arguments&) { runner.unload(); }},
      {"click", "[ID]",
       "press the button" + unlessNamed(profile().button) + ": create and execute its command",
       atMostOne, click, nullptr, buttonWords},
      {"message", "[DATA]", "the learning page sends DATA, all bytes after the one space",
       restOfLine,
       [](Runner& runner, const Arguments& arguments) {
         sendMessage(runner, profile().palette, arguments.empty() ? "" : arguments[0]);
       }},
      {"message-to", "ID [DATA]", "the page of the palette ID sends DATA, likewise", idAndRest,
       [](Runner& runner, const Arguments& arguments) {
         sendMessage(runner, arguments[0], arguments.size() == 1 ? "" : arguments[1]);
       },
       nullptr, paletteWords},
      {"message-null", "", "the learning page sends a message without a string", none,
       [](Runner& runner, const Arguments&) { sendMessage(runner, profile().palette, {}); }},
      {"online", "", "go online and raise the online-status event", none,
       [](Runner& runner, const Arguments&) { runner.host().setOffline(false); }},
      {"offline", "", "go offline and raise the online-status event", none,
       [](Runner& runner, const Arguments&) { runner.host().setOffline(true); }},
      {"language", "N", "set the host's user language (2 is Czech)", exactlyOne, setLanguage,
       checkLanguage},
      {"entitlement", "[TEXT]", "set the host's entitlement text; alone, the host has none",
       restOfLine, setEntitlement},
      {"hide", "[ID]", "the user hides the palette" + unlessNamed(profile().palette), atMostOne,
       hide, nullptr, paletteWords},
      {"show", "[ID]", "the user shows the palette" + unlessNamed(profile().palette), atMostOne,
       show, nullptr, paletteWords},
      {"close", "[ID]", "the user closes the palette with its close button, which hides it",
       atMostOne, hide, nullptr, paletteWords},
      {"dock", "ID STATE", "the user drags the palette: 0 floats, 1 top, 2 bottom, 3 left, 4 right",
       two, dock, [](const Arguments& arguments) { parseDockingState(arguments[1]); }, dockWords},
      {"plant", "KIND ID", "put a palette, definition, control or plain-control there", two, plant,
       checkPlantArguments, plantWords},
      {"remove", "KIND ID", "take one of these away, or a toolbar", two, remove,
       [](const Arguments& arguments) { parseKind(arguments[0]); }, removeWords},
      {"fail",
       "OPERATION [N] [null|throw]",
       "the N-th coming call of OPERATION (1) fails once",
       {1, 3},
       planFault,
       [](const Arguments& arguments) { parseFault(arguments); },
       faultWords},
      {"expect", "POINTER JSON", "the state at that JSON pointer equals the value", pointerAndRest,
       expect, checkExpectation, nullptr, true},
      {"expect-not", "POINTER JSON", "it does not, or there is nothing", pointerAndRest, expectNot,
       checkExpectation, nullptr, true},
      {"state", "", "print the host's state as one line of JSON", none,
       [](Runner& runner, const Arguments&) {
         std::istringstream lines(runner.atPrompt ? indented(runner.state())
                                                  : line(runner.state()));
         for (std::string one; std::getline(lines, one);) runner.reporter().print(one);
       },
       nullptr, nullptr, true},
  });
  return all;
}

std::optional<int> parseLanguage(const std::string& word) {
  int number = 0;
  return parseNumber(word, number) ? std::optional(number) : std::nullopt;
}

std::string notALanguage(const std::string& word) {
  return "'" + word + "' is not a 32-bit number";
}

const CommandEntry* findCommand(const std::string& name) {
  for (const CommandEntry& entry : commands()) {
    if (name == entry.name) return &entry;
  }
  return nullptr;
}

std::vector<std::string> completions(const std::string& typed, const Host& host) {
  Arguments words;
  std::istringstream stream(typed);
  for (std::string word; stream >> word;) words.push_back(word);
  std::string begun;
  if (!words.empty() && typed.back() != ' ') {
    begun = words.back();
    words.pop_back();
  }
  std::vector<std::string> found;
  if (words.empty()) {
    for (const CommandEntry& entry : commands()) found.emplace_back(entry.name);
  } else if (const CommandEntry* const entry = findCommand(words[0]);
             entry != nullptr && entry->words != nullptr) {
    words.erase(words.begin());
    found = entry->words(host, words);
  }
  const auto differs = [&](const std::string& word) { return word.rfind(begun, 0) != 0; };
  found.erase(std::remove_if(found.begin(), found.end(), differs), found.end());
  return found;
}

}  // namespace substitute
