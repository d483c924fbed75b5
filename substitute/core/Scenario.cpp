#include "substitute/core/Scenario.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iterator>
#include <ostream>
#include <sstream>
#include <utility>

namespace substitute {

namespace {

const std::vector<std::pair<std::string, Kind>> kinds = {
    {"palette", Kind::palette}, {"definition", Kind::definition},      {"control", Kind::control},
    {"toolbar", Kind::toolbar}, {"plain-control", Kind::plainControl},
};

std::string allKinds() {
  std::string all;
  for (const auto& kind : kinds) all += (all.empty() ? "" : ", ") + kind.first;
  return all;
}

Kind kindOf(const std::string& name) {
  const auto found = std::find_if(kinds.begin(), kinds.end(),
                                  [&](const auto& kind) { return kind.first == name; });
  if (found == kinds.end())
    throw ScenarioError("'" + name + "' is not a kind of object; there are " + allKinds());
  return found->second;
}

template <class Number>
bool parseNumber(const std::string& text, Number& number) {
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && rest == end;
}

std::string quoted(const std::string& text) {
  return '"' + text + '"';
}

// What `fail` says behind the operation: which coming call, and how it fails.
struct FailWords {
  std::uint64_t nth = 1;
  Failure how = Failure::null;
};

FailWords failWords(const std::vector<std::string>& arguments) {
  FailWords words;
  std::size_t next = 1;
  if (next < arguments.size() && parseNumber(arguments[next], words.nth)) ++next;
  if (words.nth == 0) throw ScenarioError("calls are counted from 1");
  if (next < arguments.size()) {
    if (arguments[next] != "null" && arguments[next] != "throw") {
      throw ScenarioError("'" + arguments[next] +
                          "' is not a count of calls, nor 'null' or 'throw'");
    }
    words.how = arguments[next] == "throw" ? Failure::exception : Failure::null;
    ++next;
  }
  if (next < arguments.size()) throw ScenarioError("'fail' takes nothing behind that");
  return words;
}

void expectCount(const Command& command, std::size_t least, std::size_t most) {
  const std::size_t count = command.arguments.size();
  if (count >= least && count <= most) return;
  const auto& help = commandHelp();
  const auto found = std::find_if(help.begin(), help.end(), [&](const CommandHelp& entry) {
    return entry.name == command.name;
  });
  throw ScenarioError("'" + command.name + "' takes " +
                      (found->arguments.empty() ? "no arguments" : found->arguments));
}

// What a command takes, beyond the number of its arguments.
void check(const Command& command) {
  const auto& arguments = command.arguments;
  if (command.name == "click") return expectCount(command, 0, 1);
  if (command.name == "message" || command.name == "entitlement") return;
  if (command.name == "language") {
    expectCount(command, 1, 1);
    int number = 0;
    if (!parseNumber(arguments[0], number)) {
      throw ScenarioError("'" + arguments[0] + "' is not a 32-bit number");
    }
    return;
  }
  if (command.name == "plant" || command.name == "remove") {
    expectCount(command, 2, 2);
    if (kindOf(arguments[0]) == Kind::toolbar && command.name == "plant") {
      throw ScenarioError("a toolbar can only be removed");
    }
    return;
  }
  if (command.name == "fail") {
    expectCount(command, 1, 3);
    const auto& names = operations();
    if (std::find(names.begin(), names.end(), arguments[0]) == names.end()) {
      throw ScenarioError("'" + arguments[0] + "' is not an operation of the host");
    }
    failWords(arguments);
    return;
  }
  expectCount(command, 0, 0);
}

std::string plural(long count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

}  // namespace

const std::vector<CommandHelp>& commandHelp() {
  static const std::vector<CommandHelp> help = {
      {"start", "", "load the library, call run, tell its result"},
      {"stop", "", "call stop, tell its result, unload the library"},
      {"unload", "", "unload without stop"},
      {"click", "[ID]", "press the button (runTeachPalette): create and execute its command"},
      {"message", "[DATA]", "the learning page sends DATA, all bytes behind the one blank"},
      {"message-null", "", "the learning page sends a message without a text"},
      {"online", "", "go online and raise the online-status event"},
      {"offline", "", "go offline and raise the online-status event"},
      {"language", "N", "set the host's user language (2 is Czech)"},
      {"entitlement", "[TEXT]", "set the host's entitlement text; alone, the host has none"},
      {"hide", "", "the user hides the palette"},
      {"show", "", "the user shows the palette"},
      {"close", "", "the user closes the palette with its close button, which hides it"},
      {"plant", "KIND ID", "put a palette, definition, control or plain-control there"},
      {"remove", "KIND ID", "take one of these away, or a toolbar"},
      {"fail", "OPERATION [N] [null|throw]", "the N-th coming call of OPERATION (1) fails once"},
      {"state", "", "print the host's state as one line of JSON"},
  };
  return help;
}

const std::vector<std::string>& kindNames() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> all;
    all.reserve(kinds.size());
    for (const auto& kind : kinds) all.push_back(kind.first);
    return all;
  }();
  return names;
}

Command parseCommand(const std::string& line) {
  Command command;
  command.line = line;
  const std::string blanks = " \t\r";
  const auto begin = line.find_first_not_of(blanks);
  if (begin == std::string::npos || line[begin] == '#') return command;
  const auto end = std::min(line.find_first_of(blanks, begin), line.size());
  command.name = line.substr(begin, end - begin);
  const auto& help = commandHelp();
  if (std::none_of(help.begin(), help.end(),
                   [&](const CommandHelp& entry) { return entry.name == command.name; })) {
    throw ScenarioError("'" + command.name + "' is not a command");
  }
  if (command.name == "message" || command.name == "entitlement") {
    if (end < line.size()) command.arguments.push_back(line.substr(end + 1));
  } else {
    std::istringstream words(line.substr(end));
    for (std::string word; words >> word;) command.arguments.push_back(word);
  }
  check(command);
  return command;
}

std::vector<Command> parseScenario(std::istream& input, const std::string& source) {
  std::vector<Command> commands;
  std::size_t number = 0;
  for (std::string line; std::getline(input, line);) {
    ++number;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    try {
      Command command = parseCommand(line);
      if (!command.name.empty() || line.find('#') != std::string::npos) {
        commands.push_back(std::move(command));
      }
    } catch (const ScenarioError& error) {
      throw ScenarioError(source + ":" + std::to_string(number) + ": " + error.what());
    }
  }
  if (input.bad()) throw ScenarioError(source + " cannot be read");
  return commands;
}

Player::Player(Host& host, std::string addin, std::ostream& out)
    : host_(host), addinFile_(std::move(addin)), out_(out) {
  infoText_ = infoText();
  host_.gate().listen([this](const Json& entry) {
    const auto event = entry.find("event");
    if (event == entry.end()) return;
    if (*event == "threw") {
      say("An exception left the add-in: " + entry["type"].get<std::string>() + ", " +
          quoted(entry["what"].get<std::string>()) + ".");
    } else if (*event == "open") {
      const auto& arguments = entry["args"];
      std::string list;
      for (const auto& argument : arguments) list += " " + quoted(argument.get<std::string>());
      say("open ran with " + plural(static_cast<long>(arguments.size()), "argument") +
          (list.empty() ? "" : ":" + list) + ".");
    }
  });
}

void Player::play(const Command& command) {
  if (command.name.empty()) {
    if (!command.line.empty()) out_ << '\n' << command.line << '\n' << std::flush;
    return;
  }
  if (command.name == "state") {
    out_ << line(host_.state()) << '\n' << std::flush;
    return;
  }
  if (echo) out_ << "> " << command.line << '\n' << std::flush;
  before_ = host_.state();
  act(command);
  tellChanges();
}

void Player::act(const Command& command) {
  const std::string& name = command.name;
  const auto& arguments = command.arguments;
  if (name == "start") {
    start();
  } else if (name == "stop") {
    if (!addin_) return say("The add-in is not loaded.");
    const std::optional<bool> result = addin_->stop(host_);
    if (result) say(std::string("stop returned ") + (*result ? "true." : "false."));
    tellChanges();
    unload();
  } else if (name == "unload") {
    if (!addin_) return say("The add-in is not loaded.");
    unload();
  } else if (name == "click") {
    const std::string id = arguments.empty() ? "runTeachPalette" : arguments[0];
    const Click click = host_.click(id);
    if (click == Click::noControl) say("There is no button " + quoted(id) + ".");
    if (click == Click::noDefinition) {
      say("The button " + quoted(id) + " has no command; nothing happens.");
    }
  } else if (name == "message" || name == "message-null") {
    std::optional<std::string> data;
    if (name == "message") data = arguments.empty() ? "" : arguments[0];
    if (!host_.message(learningPalette, std::move(data))) {
      say("There is no palette " + quoted(learningPalette) + " whose page could send that.");
    }
  } else if (name == "online" || name == "offline") {
    host_.setOffline(name == "offline");
  } else if (name == "language") {
    int language = 0;
    parseNumber(arguments[0], language);
    host_.setLanguage(language);
  } else if (name == "entitlement") {
    host_.setEntitlement(arguments.empty() ? std::nullopt : std::optional(arguments[0]));
  } else if (name == "hide" || name == "close" || name == "show") {
    if (!host_.setVisible(learningPalette, name == "show")) {
      say("There is no palette " + quoted(learningPalette) + ".");
    }
  } else if (name == "plant") {
    if (!host_.plant(kindOf(arguments[0]), arguments[1])) {
      say("The host refuses the " + arguments[0] + " " + quoted(arguments[1]) +
          ": its id is taken, or there is no toolbar to put it in.");
    }
  } else if (name == "remove") {
    if (!host_.remove(kindOf(arguments[0]), arguments[1])) {
      say("There is no " + arguments[0] + " " + quoted(arguments[1]) + ".");
    }
  } else {  // fail
    const FailWords words = failWords(arguments);
    host_.gate().faults.arm(arguments[0], words.nth, words.how);
    say((words.nth == 1 ? "The next call of " + arguments[0]
                        : "Call " + std::to_string(words.nth) + " of " + arguments[0] +
                              ", counted from here,") +
        (words.how == Failure::exception ? " will throw." : " will return nothing."));
  }
}

void Player::start() {
  if (addin_) return say("The add-in is loaded already.");
  addin_ = std::make_unique<AddIn>(addinFile_);
  say("The add-in is loaded.");
  const std::optional<bool> result = addin_->run(host_);
  if (result) say(std::string("run returned ") + (*result ? "true." : "false."));
}

void Player::unload() {
  addin_.reset();
  say(AddIn::isLoaded(addinFile_) ? complaint::stillLoaded : "The add-in is unloaded.");
  const Ledger& now = ledger();
  if (now.references == 0 && now.texts == 0) {
    say("It holds nothing of the host any more.");
  } else {
    say("It left " + plural(now.references, "reference") + " and " + plural(now.texts, "text") +
        " of the host's behind.");
  }
}

void Player::say(const std::string& sentence) {
  out_ << "  " << sentence << '\n' << std::flush;
}

void Player::tellChanges() {
  const Json before = std::exchange(before_, host_.state());
  const Json& after = before_;
  // The entry of `list` with that id; null when there is none.
  const auto find = [](const Json& list, const Json& id) {
    for (const Json& entry : list) {
      if (entry["id"] == id) return entry;
    }
    return Json();
  };
  for (const char* const setting : {"offline", "language", "entitlement"}) {
    if (before[setting] == after[setting]) continue;
    if (std::string(setting) == "offline") {
      say(after[setting] ? "The host is offline." : "The host is online.");
    } else {
      say("The host's " + std::string(setting) + " is now " + line(after[setting]) + ".");
    }
  }
  for (const Json& palette : after["palettes"]) {
    const std::string name = "The palette " + quoted(palette["title"]);
    const Json old = find(before["palettes"], palette["id"]);
    if (old.is_null()) {
      const std::string address = palette["address"];
      say(name + (palette["visible"] ? " opened" : " was made, hidden,") +
          (address.empty() ? " without a page." : " at " + address));
    } else if (old["visible"] != palette["visible"]) {
      say(name + (palette["visible"] ? " is shown." : " is hidden."));
    }
  }
  for (const Json& palette : before["palettes"]) {
    if (find(after["palettes"], palette["id"]).is_null()) {
      say("The palette " + quoted(palette["title"]) + " is gone.");
    }
  }
  for (const Json& definition : after["definitions"]) {
    if (find(before["definitions"], definition["id"]).is_null()) {
      const std::string icons = definition["resourceFolder"];
      say("The command " + quoted(definition["name"]) + " is defined, " +
          (icons.empty() ? "without icons." : "its icons in " + quoted(icons) + "."));
    }
  }
  for (const Json& definition : before["definitions"]) {
    if (find(after["definitions"], definition["id"]).is_null()) {
      say("The command " + quoted(definition["name"]) + " is gone.");
    }
  }
  for (const Json& toolbar : before["toolbars"]) {
    const std::string name = "toolbar " + quoted(toolbar["id"]);
    const Json now = find(after["toolbars"], toolbar["id"]);
    if (now.is_null()) {
      say("The " + name + " is gone.");
      continue;
    }
    if (toolbar["controls"] == now["controls"]) continue;
    std::string list;
    for (const Json& control : now["controls"]) {
      list += (list.empty() ? "" : ", ") + control["id"].get<std::string>();
    }
    say("The " + name + " now holds " + (list.empty() ? "nothing" : list) + ".");
  }
  const std::string info = infoText();
  if (info != infoText_) say("The info file reads: " + (info.empty() ? "nothing" : info));
  infoText_ = info;
  const Ledger& now = ledger();
  if (now.badReleases != badReleases_) say(complaint::badRelease);
  if (now.badTexts != badTexts_) say(complaint::badText);
  badReleases_ = now.badReleases;
  badTexts_ = now.badTexts;
}

std::string Player::infoText() const {
  std::ifstream file(host_.infoFile());
  std::string date;
  std::string count;
  if (!std::getline(file, date)) return "";
  std::getline(file, count);
  return date.substr(0, 80) + " / " + count.substr(0, 80);
}

}  // namespace substitute
