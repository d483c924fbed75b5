#include "tests/model/Model.h"

#include <cctype>
#include <memory>
#include <sstream>
#include <stdexcept>

#include "tests/model/AddInRules.h"

namespace model {

namespace {

// The words of a text that holds nothing special to the shell but spaces.
std::vector<std::string> shellWords(const std::string& text) {
  if (text.find_first_of("\"'`$&|;<>()*?[]#~\\!{}=%\n") != std::string::npos) {
    throw std::invalid_argument("the model does not know what the shell makes of" + text);
  }
  std::vector<std::string> words;
  std::istringstream rest(text);
  for (std::string word; rest >> word;) words.push_back(word);
  return words;
}

// Where a host that is installed in `data` leads the add-in to look for its info file.
std::string infoFilePath(const std::string& data) {
  const std::string directory = data + "/Autodesk/webdeploy/production";
  return directory.substr(0, directory.find("Autodesk")) +
         "Autodesk/Autodesk Fusion 360/API/AddIns/Velorin/Velorin_Info.txt";
}

// The lines of the file with the bytes `file`, as the state tells them: what is not UTF-8 becomes
// U+FFFD.
Json linesOf(const std::string& file) {
  Json lines = Json::array();
  std::istringstream rest(file);
  for (std::string line; std::getline(rest, line);) lines.push_back(line);
  return Json::parse(lines.dump(-1, ' ', false, Json::error_handler_t::replace));
}

class Play {
 public:
  explicit Play(const Surroundings& surroundings)
      : surroundings_(surroundings),
        infoFile_(surroundings.infoFile),
        host_(surroundings.emptyHandle) {}

  Outcome play(const std::vector<std::string>& scenario) {
    try {
      for (const std::string& line : scenario) command(line);
    } catch (const Aborted&) {
      outcome_.aborted = true;
    }
    outcome_.trace = host_.trace;
    outcome_.infoFile = infoFile_;
    return outcome_;
  }

 private:
  void command(const std::string& line) {
    std::istringstream words(line);
    std::string name;
    words >> name;
    std::string first;
    std::string second;
    words >> first >> second;
    // The one command whose argument is all the rest of its line, spaces included.
    std::optional<std::string> rest;
    const auto behindName = line.find(name) + name.size();
    if (behindName < line.size()) rest = line.substr(behindName + 1);

    if (name.empty() || name[0] == '#') return;
    if (name == "start") return start();
    if (name == "stop") return stop();
    if (name == "unload") return unload();
    if (name == "click") return click(first.empty() ? "runTeachPalette" : first);
    if (name == "message") return message(rest.value_or(""));
    if (name == "message-to") {
      const auto behindId = line.find(first, behindName) + first.size();
      return message(behindId < line.size() ? line.substr(behindId + 1) : "", first);
    }
    if (name == "message-null") return message({});
    if (name == "online" || name == "offline") return report(name == "offline");
    if (name == "language") {
      host_.language = std::stoi(first);
    } else if (name == "entitlement") {
      host_.entitlement = rest;
    } else if (name == "hide" || name == "show" || name == "close") {
      const std::string id = first.empty() ? "teachPalete" : first;
      if (Palette* const palette = find(host_.palettes, id)) palette->visible = name == "show";
    } else if (name == "dock") {
      if (Palette* const palette = find(host_.palettes, first)) {
        palette->dockingState = std::stoi(second);
      }
    } else if (name == "plant") {
      plant(first, second);
    } else if (name == "remove") {
      remove(first, second);
    } else if (name == "fail") {
      std::string how;
      words >> how;
      const bool numbered = !second.empty() && std::isdigit(second[0]) != 0;
      if (!numbered) how = second;
      host_.plan(first, numbered ? std::stoull(second) : 1, how == "throw");
    } else if (name == "state") {
      outcome_.states.push_back(state());
    } else if (name == "info-lines" && surroundings_.disk == Disk::open) {
      infoFile_ = "";
      for (const std::string text : Json::parse(*rest)) *infoFile_ += text + '\n';
    } else if (name == "reset" && surroundings_.disk == Disk::open) {
      infoFile_.reset();
    } else {
      throw std::invalid_argument("the model knows no command " + name);
    }
  }

  // A call into the add-in as the host makes it: what leaves it by an exception ends here.
  template <class Call>
  void enter(Call call) {
    Json threw;
    try {
      call();
    } catch (const Thrown& thrown) {
      threw = {{"event", "threw"}, {"type", thrown.type}};
      if (thrown.what) threw["what"] = *thrown.what;
      thrown_.push_back(thrown.type);
    }
    for (const std::string& shell : addin_->takeShellCommands()) {
      opened_.push_back(shellWords(shell.substr(std::string("open").size())));
      host_.trace.push_back({{"event", "open"}, {"args", opened_.back()}});
    }
    if (!threw.is_null()) host_.trace.push_back(threw);
  }

  void notify(const std::vector<std::string>& handlers) {
    for (const std::string& handler : handlers) {
      host_.trace.push_back({{"event", "notify"}, {"handler", handler}});
      enter([&] { addin_->notify(handler); });
    }
  }

  void start() {
    if (addin_) return;
    addin_ = std::make_unique<AddIn>(host_, infoFile_, surroundings_.disk, surroundings_.today);
    host_.trace.push_back({{"event", "run"}});
    run_ = nullptr;
    enter([&] {
      const bool result = addin_->run();
      run_ = result;
      host_.trace.push_back({{"event", "run returned"}, {"value", result}});
    });
  }

  void stop() {
    if (!addin_) return;
    host_.trace.push_back({{"event", "stop"}});
    stop_ = nullptr;
    enter([&] {
      const bool result = addin_->stop();
      stop_ = result;
      host_.trace.push_back({{"event", "stop returned"}, {"value", result}});
    });
    unload();
  }

  // The handlers end with the library; the host drops those that are still registered.
  void unload() {
    addin_.reset();
    host_.onlineHandlers.clear();
    for (Palette& palette : host_.palettes) palette.handlers.clear();
    for (Definition& definition : host_.definitions) definition.handlers.clear();
  }

  void click(const std::string& id) {
    bool button = false;
    for (Toolbar& toolbar : host_.toolbars) {
      const Control* const control = find(toolbar.controls, id);
      button = button || (control != nullptr && control->showsCommand);
    }
    const Definition* const definition = find(host_.definitions, id);
    if (!button || definition == nullptr) return;
    host_.executeHandlers.clear();
    notify(std::vector<std::string>(definition->handlers));
    notify(std::vector<std::string>(host_.executeHandlers));
  }

  void message(const std::optional<std::string>& data, const std::string& sender = "teachPalete") {
    const Palette* const palette = find(host_.palettes, sender);
    if (palette == nullptr) return;
    host_.message = data;
    notify(std::vector<std::string>(palette->handlers));
  }

  void report(bool offline) {
    host_.offline = offline;
    notify(std::vector<std::string>(host_.onlineHandlers));
  }

  void plant(const std::string& kind, const std::string& id) {
    if (kind == "palette" && find(host_.palettes, id) == nullptr) {
      Palette planted;
      planted.id = planted.title = id;
      host_.palettes.push_back(planted);
    } else if (kind == "definition" && find(host_.definitions, id) == nullptr) {
      host_.definitions.push_back({id, id, "", "", {}});
    } else if (kind == "control" || kind == "plain-control") {
      if (host_.toolbars.empty()) return;
      std::vector<Control>& controls = host_.toolbars.front().controls;
      if (find(controls, id) == nullptr) controls.push_back({id, kind == "control"});
    }
  }

  void remove(const std::string& kind, const std::string& id) {
    if (kind == "palette") erase(host_.palettes, id);
    if (kind == "definition") erase(host_.definitions, id);
    if (kind == "toolbar") erase(host_.toolbars, id);
    if (kind != "control" && kind != "plain-control") return;
    for (Toolbar& toolbar : host_.toolbars) {
      const Control* const control = find(toolbar.controls, id);
      if (control == nullptr || control->showsCommand != (kind == "control")) continue;
      erase(toolbar.controls, id);
    }
  }

  Json state() {
    const bool canReadFile = infoFile_ && surroundings_.disk != Disk::unreadableFile;
    Json all = {{"offline", host_.offline},
                {"language", host_.language},
                {"entitlement", host_.entitlement ? Json(*host_.entitlement) : Json()},
                {"palettes", Json::array()},
                {"toolbars", Json::array()},
                {"definitions", Json::array()},
                {"onlineStatusHandlers", host_.onlineHandlers},
                {"infoFile", infoFilePath(surroundings_.data)},
                {"infoLines", linesOf(canReadFile ? *infoFile_ : "")},
                {"references", addin_ ? addin_->references() : 0},
                {"text", 0},
                {"opened", opened_},
                {"run", run_},
                {"stop", stop_},
                {"thrown", thrown_},
                {"pendingFaults", host_.pendingFaults()}};
    for (const Palette& one : host_.palettes) {
      all["palettes"].push_back({{"id", one.id},
                                 {"title", one.title},
                                 {"address", one.address},
                                 {"visible", one.visible},
                                 {"dockingState", one.dockingState},
                                 {"width", one.width},
                                 {"height", one.height},
                                 {"handlers", one.handlers}});
    }
    for (const Toolbar& one : host_.toolbars) {
      Json controls = Json::array();
      for (const Control& control : one.controls) {
        controls.push_back({{"id", control.id},
                            {"class", control.showsCommand ? "CommandControl" : "ToolbarControl"}});
      }
      all["toolbars"].push_back({{"id", one.id}, {"controls", controls}});
    }
    for (const Definition& one : host_.definitions) {
      all["definitions"].push_back({{"id", one.id},
                                    {"name", one.name},
                                    {"tooltip", one.tooltip},
                                    {"resourceFolder", one.resourceFolder},
                                    {"handlers", one.handlers}});
    }
    return all;
  }

  const Surroundings surroundings_;
  std::optional<std::string> infoFile_;
  Host host_;
  std::unique_ptr<AddIn> addin_;
  std::vector<std::vector<std::string>> opened_;
  Json run_;   // what run returned last; null where an exception left it, or nothing was called
  Json stop_;  // the same for stop
  std::vector<std::string> thrown_;
  Outcome outcome_;
};

}  // namespace

Outcome predict(const std::vector<std::string>& scenario, const Surroundings& surroundings) {
  if (!possible(surroundings.disk, surroundings.infoFile.has_value())) {
    throw std::invalid_argument("the model knows no such info file on such a disk");
  }
  return Play(surroundings).play(scenario);
}

}  // namespace model
