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
    : HostObject(interceptor, values.id), siblings_(siblings), values_(std::move(values)) {}

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
    auto definition = ofAddIn(makeHostObject<DefinitionObject>(interceptor(), all, id));
    definition->name = name;
    definition->tooltip = tooltip;
    definition->resourceFolder = resourceFolder;
    return all.add(std::move(definition));
  };
  return call(Operation::CommandDefinitions_addButtonDefinition, body, id, name, tooltip,
              resourceFolder);
}

ControlObject::ControlObject(CallInterceptor& interceptor, Collection<ControlObject>& siblings,
                             bool showsCommand, std::string id)
    : HostObject(interceptor, std::move(id), showsCommand ? "CommandControl" : "ToolbarControl"),
      siblings_(siblings),
      showsCommand_(showsCommand) {}

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
    return all.add(ofAddIn(makeHostObject<ControlObject>(interceptor(), all, true, shown->id())),
                   all.find(position), before);
  };
  return call(Operation::ToolbarControls_addCommand, body,
              static_cast<const ReferenceCounted*>(shown), position, before);
}

char* ApplicationObject::executeTextCommand_raw(const char* command) const {
  const auto body = [&]() -> std::optional<std::string> {
    if (std::string(command) != "Debug.EntitlementString") return {};
    return entitlement;
  };
  return call(Operation::Application_executeTextCommand, body, command);
}

}  // namespace substitute
