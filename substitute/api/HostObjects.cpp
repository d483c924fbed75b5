#include "substitute/api/HostObjects.h"

const char* adsk::core::CommandControl::classType() {
  return "adsk::core::CommandControl";
}

namespace substitute {

namespace {

template <class T>
HostPtr<T> ofAddIn(HostPtr<T> object) {
  object->markAsOfAddIn();
  return object;
}

}  // namespace

PaletteObject::PaletteObject(CallInterceptor& interceptor, Collection<PaletteObject>& siblings,
                             PaletteValues values)
    : HostObject(interceptor, "Palette", values.id),
      incomingFromHTML(makeHostObject<HTMLEventObject>(interceptor)),
      siblings_(siblings),
      values_(std::move(values)) {}

bool PaletteObject::dockingState_raw(core::PaletteDockingStates state) {
  const auto body = [&] {
    if (!valid()) return false;
    dockingState = state;
    return true;
  };
  return call(Operation::Palette_dockingState, body, state);
}

bool PaletteObject::isVisible_raw(bool visible) {
  const auto body = [&] {
    if (!valid()) return false;
    setVisible(visible);
    return true;
  };
  return call(Operation::Palette_isVisible, body, visible);
}

bool PaletteObject::deleteMe_raw() {
  return call(Operation::Palette_deleteMe, [this] {
    incomingFromHTML->registrations.clear();
    return siblings_.remove(this);
  });
}

void PaletteObject::setVisible(bool visible) {
  siblings_.changing.publish(id());
  values_.visible = visible;
}

core::Palette* PalettesObject::itemById_raw(const char* id) const {
  return call(
      Operation::Palettes_itemById, [&] { return all.find(id); }, id);
}

core::Palette* PalettesObject::add_raw(const char* id, const char* title, const char* address,
                                       bool visible, bool closeButton, bool resizable, int width,
                                       int height, bool flag4) {
  const auto body = [&] {
    return all.add(ofAddIn(makeHostObject<PaletteObject>(
        interceptor(), all,
        PaletteValues{id, title, address, visible, closeButton, resizable, width, height})));
  };
  return call(Operation::Palettes_add, body, id, title, address, visible, closeButton, resizable,
              width, height, flag4);
}

DefinitionObject::DefinitionObject(CallInterceptor& interceptor,
                                   Collection<DefinitionObject>& siblings, std::string id,
                                   std::string definitionName, std::string definitionTooltip,
                                   std::string definitionResourceFolder)
    : HostObject(interceptor, "CommandDefinition", std::move(id)),
      name(std::move(definitionName)),
      tooltip(std::move(definitionTooltip)),
      resourceFolder(std::move(definitionResourceFolder)),
      commandCreated(makeHostObject<CommandCreatedEventObject>(interceptor)),
      siblings_(siblings) {}

bool DefinitionObject::deleteMe_raw() {
  return call(Operation::CommandDefinition_deleteMe, [this] {
    commandCreated->registrations.clear();
    return siblings_.remove(this);
  });
}

core::CommandDefinition* DefinitionsObject::addButtonDefinition_raw(const char* id,
                                                                    const char* name,
                                                                    const char* tooltip,
                                                                    const char* resourceFolder) {
  const auto body = [&] {
    return all.add(ofAddIn(
        makeHostObject<DefinitionObject>(interceptor(), all, id, name, tooltip, resourceFolder)));
  };
  return call(Operation::CommandDefinitions_addButtonDefinition, body, id, name, tooltip,
              resourceFolder);
}

core::CommandDefinition* DefinitionsObject::itemById_raw(const char* id) const {
  return call(
      Operation::CommandDefinitions_itemById, [&] { return all.find(id); }, id);
}

ControlObject::ControlObject(CallInterceptor& interceptor, Collection<ControlObject>& siblings,
                             Kind kind, std::string id)
    : HostObject(interceptor, kind == Kind::command ? "CommandControl" : "ToolbarControl",
                 std::move(id)),
      siblings_(siblings),
      kind_(kind) {}

bool ControlObject::deleteMe_raw() {
  return call(Operation::ToolbarControl_deleteMe, [this] { return siblings_.remove(this); });
}

bool ControlObject::supports(const char* interfaceId) const {
  return showsCommand() && std::string(interfaceId) == classType();
}

core::CommandControl* ControlsObject::addCommand_raw(core::CommandDefinition* definition,
                                                     const char* position, bool before) {
  const auto* const shown = static_cast<const DefinitionObject*>(definition);
  const auto body = [&]() -> ControlObject* {
    if (shown == nullptr || !shown->valid()) return nullptr;
    auto control = ofAddIn(makeHostObject<ControlObject>(
        interceptor(), all, ControlObject::Kind::command, shown->id()));
    const ControlObject* const neighbour = all.find(position);
    return neighbour == nullptr ? all.add(std::move(control))
                                : all.addBeside(*neighbour, before, std::move(control));
  };
  return call(Operation::ToolbarControls_addCommand, body,
              static_cast<const ReferenceCounted*>(shown), position, before);
}

core::ToolbarControl* ControlsObject::itemById_raw(const char* id) const {
  return call(
      Operation::ToolbarControls_itemById, [&] { return all.find(id); }, id);
}

core::Toolbar* ToolbarsObject::itemById_raw(const char* id) const {
  return call(
      Operation::Toolbars_itemById, [&] { return all.find(id); }, id);
}

ApplicationObject::ApplicationObject(CallInterceptor& interceptor, bool isOffline, int userLanguage,
                                     std::optional<std::string> entitlementString)
    : HostObject(interceptor, "Application"),
      offline(isOffline),
      entitlement(std::move(entitlementString)),
      userInterface(makeHostObject<UserInterfaceObject>(interceptor)),
      preferences(makeHostObject<PreferencesObject>(interceptor, userLanguage)),
      onlineStatusChanged(makeHostObject<ApplicationEventObject>(interceptor)) {}

char* ApplicationObject::executeTextCommand_raw(const char* command) const {
  const auto body = [&]() -> std::optional<std::string> {
    if (std::string(command) != "Debug.EntitlementString") return {};
    return entitlement;
  };
  return call(Operation::Application_executeTextCommand, body, command);
}

}  // namespace substitute
