#include "substitute/core/HostObjects.h"

#include <typeinfo>

namespace core = adsk::core;

// The host's part of a handler: the places where it is registered.
struct core::EventHandlerState {
  using Places = std::vector<substitute::Registrations*>;

  static Places* of(const EventHandler& handler) { return static_cast<Places*>(handler.state_); }

  static void enter(EventHandler& handler, substitute::Registrations* place) {
    if (handler.state_ == nullptr) handler.state_ = new Places;
    of(handler)->push_back(place);
  }

  static void leave(EventHandler& handler, substitute::Registrations* place) {
    Places& places = *of(handler);
    places.erase(std::find(places.begin(), places.end(), place));
  }

  static void end(EventHandler& handler) {
    if (handler.state_ == nullptr) return;
    for (substitute::Registrations* const place : *of(handler)) {
      auto& handlers = place->handlers_;
      handlers.erase(std::remove(handlers.begin(), handlers.end(), &handler), handlers.end());
    }
    delete of(handler);
    handler.state_ = nullptr;
  }
};

core::EventHandler::EventHandler() = default;
core::EventHandler::~EventHandler() {
  EventHandlerState::end(*this);
}
void core::EventHandler::placeholderEventHandler0() {}
void core::EventHandler::placeholderEventHandler1() {}
void core::EventHandler::placeholderEventHandler2() {}
void core::EventHandler::placeholderEventHandler3() {}
void core::EventHandler::placeholderEventHandler4() {}
void core::EventHandler::placeholderEventHandler5() {}
void core::EventHandler::placeholderEventHandler6() {}
void core::EventHandler::placeholderEventHandler7() {}
void core::EventHandler::placeholderEventHandler8() {}
void core::EventHandler::placeholderEventHandler9() {}
void core::EventHandler::placeholderEventHandler10() {}
void core::EventHandler::placeholderEventHandler11() {}
void core::EventHandler::placeholderEventHandler12() {}
void core::EventHandler::placeholderEventHandler13() {}
void core::EventHandler::placeholderEventHandler14() {}
void core::EventHandler::placeholderEventHandler15() {}

const char* core::CommandControl::classType() {
  return "adsk::core::CommandControl";
}

namespace substitute {

bool Registrations::add(core::EventHandler* handler) {
  if (handler == nullptr) return false;
  core::EventHandlerState::enter(*handler, this);
  handlers_.push_back(handler);
  return true;
}

void Registrations::clear() {
  for (core::EventHandler* const handler : handlers_) {
    core::EventHandlerState::leave(*handler, this);
  }
  handlers_.clear();
}

std::vector<std::string> Registrations::handlerNames() const {
  std::vector<std::string> names;
  for (const core::EventHandler* const handler : handlers_) {
    names.push_back(typeName(typeid(*handler)));
  }
  return names;
}

HTMLEventArgsObject::HTMLEventArgsObject(Gate& gate, std::optional<std::string> data)
    : Object(gate, "HTMLEventArgs"), data_(std::move(data)) {}

char* HTMLEventArgsObject::data_raw() const {
  return gate().text("HTMLEventArgs.data", this, [this] { return data_; });
}

PaletteObject::PaletteObject(Gate& gate, PalettesObject& siblings, PaletteValues paletteValues)
    : Object(gate, "Palette", paletteValues.id),
      values(std::move(paletteValues)),
      incomingFromHTML(make<HTMLEventObject>(gate, "HTMLEvent")),
      siblings_(siblings) {}

bool PaletteObject::dockingState_raw(core::PaletteDockingStates state) {
  return gate().value(
      "Palette.dockingState", this,
      [&] {
        if (!valid()) return false;
        dockingState = state;
        return true;
      },
      state);
}

core::HTMLEvent* PaletteObject::incomingFromHTML_raw() const {
  return gate().object("Palette.incomingFromHTML", this, [this] { return incomingFromHTML.get(); });
}

bool PaletteObject::isVisible_raw(bool visible) {
  return gate().value(
      "Palette.isVisible", this,
      [&] {
        if (!valid()) return false;
        values.visible = visible;
        return true;
      },
      visible);
}

bool PaletteObject::deleteMe_raw() {
  return gate().value("Palette.deleteMe", this, [this] {
    incomingFromHTML->registrations.clear();
    return siblings_.all.remove(this);
  });
}

PalettesObject::PalettesObject(Gate& gate) : Object(gate, "Palettes") {}

core::Palette* PalettesObject::itemById_raw(const char* id) const {
  return gate().object(
      "Palettes.itemById", this, [&] { return all.find(id); }, id);
}

core::Palette* PalettesObject::add_raw(const char* id, const char* title, const char* address,
                                       bool visible, bool closeButton, bool resizable, int width,
                                       int height, bool lastFlag) {
  return gate().object(
      "Palettes.add", this,
      [&] {
        return all.add(make<PaletteObject>(gate(), *this,
                                           PaletteValues{id, title, address, visible, closeButton,
                                                         resizable, width, height, lastFlag}));
      },
      id, title, address, visible, closeButton, resizable, width, height, lastFlag);
}

CommandInputsObject::CommandInputsObject(Gate& gate) : Object(gate, "CommandInputs") {}

CommandEventArgsObject::CommandEventArgsObject(Gate& gate) : Object(gate, "CommandEventArgs") {}

CommandObject::CommandObject(Gate& gate)
    : Object(gate, "Command"),
      inputs(make<CommandInputsObject>(gate)),
      execute(make<CommandEventObject>(gate, "CommandEvent")) {}

core::CommandInputs* CommandObject::commandInputs_raw() const {
  return gate().object("Command.commandInputs", this, [this] { return inputs.get(); });
}

core::CommandEvent* CommandObject::execute_raw() const {
  return gate().object("Command.execute", this, [this] { return execute.get(); });
}

CommandCreatedEventArgsObject::CommandCreatedEventArgsObject(Gate& gate, CommandObject& command)
    : Object(gate, "CommandCreatedEventArgs"), command_(command) {}

core::Command* CommandCreatedEventArgsObject::command_raw() const {
  return gate().object("CommandCreatedEventArgs.command", this, [this] { return &command_; });
}

DefinitionObject::DefinitionObject(Gate& gate, DefinitionsObject& siblings, std::string id,
                                   std::string definitionName, std::string definitionTooltip,
                                   std::string definitionResourceFolder)
    : Object(gate, "CommandDefinition", std::move(id)),
      name(std::move(definitionName)),
      tooltip(std::move(definitionTooltip)),
      resourceFolder(std::move(definitionResourceFolder)),
      commandCreated(make<CommandCreatedEventObject>(gate, "CommandCreatedEvent")),
      siblings_(siblings) {}

core::CommandCreatedEvent* DefinitionObject::commandCreated_raw() const {
  return gate().object("CommandDefinition.commandCreated", this,
                       [this] { return commandCreated.get(); });
}

bool DefinitionObject::deleteMe_raw() {
  return gate().value("CommandDefinition.deleteMe", this, [this] {
    commandCreated->registrations.clear();
    return siblings_.all.remove(this);
  });
}

DefinitionsObject::DefinitionsObject(Gate& gate) : Object(gate, "CommandDefinitions") {}

core::CommandDefinition* DefinitionsObject::addButtonDefinition_raw(const char* id,
                                                                    const char* name,
                                                                    const char* tooltip,
                                                                    const char* resourceFolder) {
  return gate().object(
      "CommandDefinitions.addButtonDefinition", this,
      [&] {
        return all.add(make<DefinitionObject>(gate(), *this, id, name, tooltip, resourceFolder));
      },
      id, name, tooltip, resourceFolder);
}

core::CommandDefinition* DefinitionsObject::itemById_raw(const char* id) const {
  return gate().object(
      "CommandDefinitions.itemById", this, [&] { return all.find(id); }, id);
}

ControlObject::ControlObject(Gate& gate, ControlsObject& siblings, Kind kind, std::string id)
    : Object(gate, kind == Kind::command ? "CommandControl" : "ToolbarControl", std::move(id)),
      siblings_(siblings),
      kind_(kind) {}

bool ControlObject::deleteMe_raw() {
  return gate().value("ToolbarControl.deleteMe", this,
                      [this] { return siblings_.all.remove(this); });
}

bool ControlObject::seenAs(const char* interfaceId) const {
  return showsCommand() && std::string(interfaceId) == classType();
}

ControlsObject::ControlsObject(Gate& gate) : Object(gate, "ToolbarControls") {}

core::CommandControl* ControlsObject::addCommand_raw(core::CommandDefinition* definition,
                                                     const char* positionId, bool before) {
  const auto* const shown = static_cast<const DefinitionObject*>(definition);
  return gate().object(
      "ToolbarControls.addCommand", this,
      [&]() -> ControlObject* {
        if (shown == nullptr || !shown->valid()) return nullptr;
        auto position = all.index(positionId);
        if (position && !before) ++*position;
        return all.add(
            make<ControlObject>(gate(), *this, ControlObject::Kind::command, shown->id()),
            position);
      },
      static_cast<const Counted*>(shown), positionId, before);
}

core::ToolbarControl* ControlsObject::itemById_raw(const char* id) const {
  return gate().object(
      "ToolbarControls.itemById", this, [&] { return all.find(id); }, id);
}

ToolbarObject::ToolbarObject(Gate& gate, std::string id)
    : Object(gate, "Toolbar", std::move(id)), controls(make<ControlsObject>(gate)) {}

core::ToolbarControls* ToolbarObject::controls_raw() const {
  return gate().object("Toolbar.controls", this, [this] { return controls.get(); });
}

ToolbarsObject::ToolbarsObject(Gate& gate) : Object(gate, "Toolbars") {}

core::Toolbar* ToolbarsObject::itemById_raw(const char* id) const {
  return gate().object(
      "Toolbars.itemById", this, [&] { return all.find(id); }, id);
}

UserInterfaceObject::UserInterfaceObject(Gate& gate)
    : Object(gate, "UserInterface"),
      palettes(make<PalettesObject>(gate)),
      toolbars(make<ToolbarsObject>(gate)),
      definitions(make<DefinitionsObject>(gate)) {}

core::Palettes* UserInterfaceObject::palettes_raw() const {
  return gate().object("UserInterface.palettes", this, [this] { return palettes.get(); });
}

core::Toolbars* UserInterfaceObject::toolbars_raw() const {
  return gate().object("UserInterface.toolbars", this, [this] { return toolbars.get(); });
}

core::CommandDefinitions* UserInterfaceObject::commandDefinitions_raw() const {
  return gate().object("UserInterface.commandDefinitions", this,
                       [this] { return definitions.get(); });
}

GeneralPreferencesObject::GeneralPreferencesObject(Gate& gate, int userLanguage)
    : Object(gate, "GeneralPreferences"), language(userLanguage) {}

std::int32_t GeneralPreferencesObject::userLanguage_raw() const {
  return gate().value("GeneralPreferences.userLanguage", this, [this] { return language; });
}

PreferencesObject::PreferencesObject(Gate& gate, int language)
    : Object(gate, "Preferences"), general(make<GeneralPreferencesObject>(gate, language)) {}

core::GeneralPreferences* PreferencesObject::generalPreferences_raw() const {
  return gate().object("Preferences.generalPreferences", this, [this] { return general.get(); });
}

ApplicationEventArgsObject::ApplicationEventArgsObject(Gate& gate, bool offline)
    : Object(gate, "ApplicationEventArgs"), offline_(offline) {}

bool ApplicationEventArgsObject::isOffLine_raw() const {
  return gate().value("ApplicationEventArgs.isOffLine", this, [this] { return offline_; });
}

ApplicationObject::ApplicationObject(Gate& gate, bool isOffline, int language,
                                     std::optional<std::string> entitlementText)
    : Object(gate, "Application"),
      offline(isOffline),
      entitlement(std::move(entitlementText)),
      userInterface(make<UserInterfaceObject>(gate)),
      preferences(make<PreferencesObject>(gate, language)),
      onlineStatusChanged(make<ApplicationEventObject>(gate, "ApplicationEvent")) {}

core::UserInterface* ApplicationObject::userInterface_raw() const {
  return gate().object("Application.userInterface", this, [this] { return userInterface.get(); });
}

core::Preferences* ApplicationObject::preferences_raw() const {
  return gate().object("Application.preferences", this, [this] { return preferences.get(); });
}

char* ApplicationObject::executeTextCommand_raw(const char* command) const {
  return gate().text(
      "Application.executeTextCommand", this,
      [&]() -> std::optional<std::string> {
        if (std::string(command) != "Debug.EntitlementString") return {};
        return entitlement;
      },
      command);
}

bool ApplicationObject::isOffLine_raw() const {
  return gate().value("Application.isOffLine", this, [this] { return offline; });
}

core::ApplicationEvent* ApplicationObject::onlineStatusChanged_raw() const {
  return gate().object("Application.onlineStatusChanged", this,
                       [this] { return onlineStatusChanged.get(); });
}

}  // namespace substitute
