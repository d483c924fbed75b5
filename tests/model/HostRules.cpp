#include "tests/model/HostRules.h"

#include <algorithm>
#include <utility>

namespace model {

namespace {

Json nameOf(const Handle& handle) {
  // What belongs to another object bears that one's id only here, not by name.
  static const std::vector<std::string> withId = {"Palette", "Toolbar", "CommandControl",
                                                  "ToolbarControl", "CommandDefinition"};
  if (handle.empty()) return nullptr;
  const bool named = std::find(withId.begin(), withId.end(), handle.className) != withId.end();
  return named ? handle.className + ":" + handle.id : handle.className;
}

}  // namespace

void Host::plan(const std::string& operation, std::uint64_t nth, bool throws) {
  plannedFaults_.push_back({operation, nth, throws});
}

std::vector<std::string> Host::pendingFaults() const {
  std::vector<std::string> words;
  for (const PlannedFault& one : plannedFaults_) {
    words.push_back(one.operation + " " + std::to_string(one.left) +
                    (one.throws ? " throw" : " null"));
  }
  return words;
}

// Every planned fault counts every call; where two are due at once the one planned first decides.
Host::Fault Host::nextFault(const std::string& operation) {
  Fault fault = Fault::none;
  std::vector<PlannedFault> still;
  for (PlannedFault& one : plannedFaults_) {
    const bool due = one.operation == operation && --one.left == 0;
    if (!due) still.push_back(one);
    if (due && fault == Fault::none) fault = one.throws ? Fault::exception : Fault::nothing;
  }
  plannedFaults_ = still;
  return fault;
}

template <class Work>
Json Host::call(const std::string& operation, const Handle* on, Json arguments, const Json& nothing,
                Work work) {
  if (on != nullptr && on->empty()) {
    if (emptyHandle_ == EmptyHandle::aborts) throw Aborted{};
    throw Thrown{"std::exception", "std::exception"};
  }
  Json entry = {{"op", operation}};
  if (on != nullptr) entry["on"] = nameOf(*on);
  entry["args"] = std::move(arguments);
  const Fault fault = nextFault(operation);
  if (fault == Fault::exception) {
    entry["fault"] = "throw";
    trace.push_back(entry);
    throw Thrown{"std::runtime_error", "the host failed in " + operation};
  }
  Json result = fault == Fault::nothing ? nothing : work();
  entry["result"] = result;
  if (fault == Fault::nothing) entry["fault"] = "null";
  trace.push_back(entry);
  return result;
}

Handle Host::part(const std::string& operation, const Handle& of, const Handle& result) {
  const Json name = call(operation, &of, Json::array(), nullptr, [&] { return nameOf(result); });
  return name.is_null() ? Handle{} : result;
}

Handle Host::application() {
  const Handle result{"Application", {}};
  const Json name =
      call("Application.get", nullptr, Json::array(), nullptr, [&] { return nameOf(result); });
  return name.is_null() ? Handle{} : result;
}

Handle Host::userInterface(const Handle& application) {
  return part("Application.userInterface", application, {"UserInterface", {}});
}

Handle Host::preferences(const Handle& application) {
  return part("Application.preferences", application, {"Preferences", {}});
}

std::string Host::executeTextCommand(const Handle& application, const std::string& command) {
  const Json text = call("Application.executeTextCommand", &application, {command}, nullptr,
                         [&] { return entitlement ? Json(*entitlement) : Json(); });
  return text.is_null() ? "" : text.get<std::string>();
}

bool Host::isOffLine(const Handle& application) {
  return call("Application.isOffLine", &application, Json::array(), false,
              [&] { return Json(offline); })
      .get<bool>();
}

Handle Host::onlineStatusChanged(const Handle& application) {
  return part("Application.onlineStatusChanged", application, {"ApplicationEvent", {}});
}

std::vector<std::string>& Host::handlersOf(const Handle& event) {
  if (event.className == "HTMLEvent") return find(palettes, event.id)->handlers;
  if (event.className == "CommandCreatedEvent") return find(definitions, event.id)->handlers;
  if (event.className == "CommandEvent") return executeHandlers;
  return onlineHandlers;
}

bool Host::addHandler(const Handle& event, const std::string& handler) {
  return call(event.className + ".add", &event, {handler}, false,
              [&] {
                handlersOf(event).push_back(handler);
                return Json(true);
              })
      .get<bool>();
}

bool Host::reportsOffLine() {
  const Handle arguments{"ApplicationEventArgs", {}};
  return call("ApplicationEventArgs.isOffLine", &arguments, Json::array(), false,
              [&] { return Json(offline); })
      .get<bool>();
}

Handle Host::generalPreferences(const Handle& preferences) {
  return part("Preferences.generalPreferences", preferences, {"GeneralPreferences", {}});
}

int Host::userLanguage(const Handle& generalPreferences) {
  return call("GeneralPreferences.userLanguage", &generalPreferences, Json::array(), 0,
              [&] { return Json(language); })
      .get<int>();
}

Handle Host::palettesOf(const Handle& userInterface) {
  return part("UserInterface.palettes", userInterface, {"Palettes", {}});
}

Handle Host::toolbarsOf(const Handle& userInterface) {
  return part("UserInterface.toolbars", userInterface, {"Toolbars", {}});
}

Handle Host::commandDefinitions(const Handle& userInterface) {
  return part("UserInterface.commandDefinitions", userInterface, {"CommandDefinitions", {}});
}

Handle Host::paletteById(const Handle& palettesHandle, const std::string& id) {
  const Handle result{"Palette", id};
  const Json name = call("Palettes.itemById", &palettesHandle, {id}, nullptr,
                         [&] { return find(palettes, id) == nullptr ? Json() : nameOf(result); });
  return name.is_null() ? Handle{} : result;
}

Handle Host::addPalette(const Handle& palettesHandle, const std::string& id,
                        const std::string& title, const std::string& address,
                        const std::vector<bool>& threeFlags, int width, int height, bool lastFlag) {
  const Handle result{"Palette", id};
  const Json arguments = {
      id,    title,  address, threeFlags.at(0), threeFlags.at(1), threeFlags.at(2),
      width, height, lastFlag};
  const Json name = call("Palettes.add", &palettesHandle, arguments, nullptr, [&] {
    if (find(palettes, id) != nullptr) return Json();
    palettes.push_back({id, title, address, threeFlags.at(0), 0, width, height, {}});
    return nameOf(result);
  });
  return name.is_null() ? Handle{} : result;
}

void Host::setDockingState(const Handle& palette, int state) {
  call("Palette.dockingState", &palette, {state}, false, [&] {
    find(palettes, palette.id)->dockingState = state;
    return Json(true);
  });
}

Handle Host::incomingFromHTML(const Handle& palette) {
  return part("Palette.incomingFromHTML", palette, {"HTMLEvent", palette.id});
}

void Host::setVisible(const Handle& palette, bool visible) {
  call("Palette.isVisible", &palette, {visible}, false, [&] {
    find(palettes, palette.id)->visible = visible;
    return Json(true);
  });
}

void Host::deletePalette(const Handle& palette) {
  call("Palette.deleteMe", &palette, Json::array(), false,
       [&] { return Json(erase(palettes, palette.id)); });
}

void Host::isValid(const Handle& palette) {
  call("Base.isValid", &palette, Json::array(), false,
       [&] { return Json(find(palettes, palette.id) != nullptr); });
}

std::string Host::messageData() {
  const Handle arguments{"HTMLEventArgs", {}};
  const Json text = call("HTMLEventArgs.data", &arguments, Json::array(), nullptr,
                         [&] { return message ? Json(*message) : Json(); });
  return text.is_null() ? "" : text.get<std::string>();
}

Handle Host::toolbarById(const Handle& toolbarsHandle, const std::string& id) {
  const Handle result{"Toolbar", id};
  const Json name = call("Toolbars.itemById", &toolbarsHandle, {id}, nullptr,
                         [&] { return find(toolbars, id) == nullptr ? Json() : nameOf(result); });
  return name.is_null() ? Handle{} : result;
}

Handle Host::controlsOf(const Handle& toolbar) {
  return part("Toolbar.controls", toolbar, {"ToolbarControls", toolbar.id});
}

Handle Host::addCommand(const Handle& controls, const Handle& definition,
                        const std::string& position, bool before) {
  const Handle result{"CommandControl", definition.id};
  const Json name = call("ToolbarControls.addCommand", &controls,
                         {nameOf(definition), position, before}, nullptr, [&] {
                           std::vector<Control>& list = find(toolbars, controls.id)->controls;
                           if (find(list, definition.id) != nullptr) return Json();
                           auto place = list.end();
                           if (const Control* const neighbour = find(list, position)) {
                             place = list.begin() + (neighbour - list.data()) + (before ? 0 : 1);
                           }
                           list.insert(place, {definition.id, true});
                           return nameOf(result);
                         });
  return name.is_null() ? Handle{} : result;
}

Handle Host::controlById(const Handle& controls, const std::string& id) {
  Handle result;
  call("ToolbarControls.itemById", &controls, {id}, nullptr, [&] {
    const Control* const found = find(find(toolbars, controls.id)->controls, id);
    if (found != nullptr) result = {found->showsCommand ? "CommandControl" : "ToolbarControl", id};
    return nameOf(result);
  });
  return result;
}

Handle Host::asCommandControl(const Handle& control) {
  const Json name = call("Base.query", &control, {"adsk::core::CommandControl"}, nullptr, [&] {
    return control.className == "CommandControl" ? nameOf(control) : Json();
  });
  return name.is_null() ? Handle{} : control;
}

void Host::deleteControl(const Handle& control) {
  call("ToolbarControl.deleteMe", &control, Json::array(), false, [&] {
    bool found = false;
    for (Toolbar& toolbar : toolbars) found = found || erase(toolbar.controls, control.id);
    return Json(found);
  });
}

Handle Host::addButtonDefinition(const Handle& definitionsHandle, const std::string& id,
                                 const std::string& name, const std::string& tooltip,
                                 const std::string& resourceFolder) {
  const Handle result{"CommandDefinition", id};
  const Json added = call("CommandDefinitions.addButtonDefinition", &definitionsHandle,
                          {id, name, tooltip, resourceFolder}, nullptr, [&] {
                            if (find(definitions, id) != nullptr) return Json();
                            definitions.push_back({id, name, tooltip, resourceFolder, {}});
                            return nameOf(result);
                          });
  return added.is_null() ? Handle{} : result;
}

Handle Host::definitionById(const Handle& definitionsHandle, const std::string& id) {
  const Handle result{"CommandDefinition", id};
  const Json name = call("CommandDefinitions.itemById", &definitionsHandle, {id}, nullptr, [&] {
    return find(definitions, id) == nullptr ? Json() : nameOf(result);
  });
  return name.is_null() ? Handle{} : result;
}

Handle Host::commandCreated(const Handle& definition) {
  return part("CommandDefinition.commandCreated", definition,
              {"CommandCreatedEvent", definition.id});
}

void Host::deleteDefinition(const Handle& definition) {
  call("CommandDefinition.deleteMe", &definition, Json::array(), false,
       [&] { return Json(erase(definitions, definition.id)); });
}

Handle Host::createdCommand() {
  return part("CommandCreatedEventArgs.command", {"CommandCreatedEventArgs", {}}, {"Command", {}});
}

Handle Host::commandInputs(const Handle& command) {
  return part("Command.commandInputs", command, {"CommandInputs", {}});
}

Handle Host::execute(const Handle& command) {
  return part("Command.execute", command, {"CommandEvent", {}});
}

}  // namespace model
