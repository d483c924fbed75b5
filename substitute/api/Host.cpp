#include "substitute/api/Host.h"

#include <cxxabi.h>

#include <stdexcept>
#include <typeinfo>

#include "substitute/api/HostObjects.h"

namespace core = adsk::core;

namespace substitute {

namespace {

Host* currentHost = nullptr;

Json describe(const PaletteObject& palette) {
  const PaletteValues& values = palette.values();
  return {{"id", palette.id()},
          {"title", values.title},
          {"address", values.address},
          {"visible", values.visible},
          {"dockingState", palette.dockingState},
          {"width", values.width},
          {"height", values.height},
          {"handlers", palette.incomingFromHTML->registrations.handlerNames()}};
}

Json describe(const ControlObject& control) {
  return {{"id", control.id()}, {"class", control.className()}};
}

Json describe(const DefinitionObject& definition) {
  return {{"id", definition.id()},
          {"name", definition.name},
          {"tooltip", definition.tooltip},
          {"resourceFolder", definition.resourceFolder},
          {"handlers", definition.commandCreated->registrations.handlerNames()}};
}

Json describe(const ToolbarObject& toolbar);

template <class T>
Json describeAll(const Collection<T>& collection) {
  Json all = Json::array();
  for (const auto& item : collection.items()) all.push_back(describe(*item));
  return all;
}

Json describe(const ToolbarObject& toolbar) {
  return {{"id", toolbar.id()}, {"controls", describeAll(toolbar.controls->all)}};
}

struct StateEntry {
  const char* key;
  Json (*valueIn)(const ApplicationObject& application);
};
const StateEntry stateEntries[] = {
    {"offline", [](const ApplicationObject& host) { return Json(host.offline); }},
    {"language",
     [](const ApplicationObject& host) { return Json(host.preferences->general->language); }},
    {"entitlement",
     [](const ApplicationObject& host) {
       return host.entitlement ? Json(*host.entitlement) : Json();
     }},
    {"palettes",
     [](const ApplicationObject& host) { return describeAll(host.userInterface->palettes->all); }},
    {"toolbars",
     [](const ApplicationObject& host) { return describeAll(host.userInterface->toolbars->all); }},
    {"definitions",
     [](const ApplicationObject& host) {
       return describeAll(host.userInterface->definitions->all);
     }},
    {"onlineStatusHandlers",
     [](const ApplicationObject& host) {
       return Json(host.onlineStatusChanged->registrations.handlerNames());
     }},
};

}  // namespace

Host::Host(Settings settings)
    : settings_(std::move(settings)),
      application_(makeHostObject<ApplicationObject>(interceptor_, settings_.offline,
                                                     settings_.language, settings_.entitlement)) {
  if (currentHost != nullptr) throw std::logic_error("there is a host in this process already");
  auto toolbar = makeHostObject<ToolbarObject>(interceptor_, "QATRight");
  toolbar->controls->all.add(makeHostObject<ControlObject>(
      interceptor_, toolbar->controls->all, ControlObject::Kind::command, "HelpGroupCommand"));
  application_->userInterface->toolbars->all.add(std::move(toolbar));
  currentHost = this;
}

Host::~Host() {
  currentHost = nullptr;
}

Host* Host::current() {
  return currentHost;
}

std::optional<bool> Host::callEntryPoint(const std::string& name,
                                         const std::function<bool()>& entryPoint) {
  std::optional<bool> result;
  callAddIn([&] {
    interceptor_.trace.publish({{"event", name}});
    result = entryPoint();
    interceptor_.trace.publish({{"event", name + " returned"}, {"value", *result}});
  });
  return result;
}

void Host::setOffline(bool offline) {
  application_->offline = offline;
  const auto arguments = makeHostObject<ApplicationEventArgsObject>(interceptor_, offline);
  application_->onlineStatusChanged->raise(arguments.get(), notifier());
}

void Host::reportStatusWithoutArguments() {
  application_->onlineStatusChanged->raise(nullptr, notifier());
}

void Host::setLanguage(int language) {
  application_->preferences->general->language = language;
}

void Host::setEntitlement(std::optional<std::string> entitlement) {
  application_->entitlement = std::move(entitlement);
}

ClickResult Host::click(const std::string& id) {
  const UserInterfaceObject& ui = *application_->userInterface;
  bool found = false;
  for (const auto& toolbar : ui.toolbars->all.items()) {
    const ControlObject* const control = toolbar->controls->all.find(id);
    found = found || (control != nullptr && control->showsCommand());
  }
  if (!found) return ClickResult::noControl;
  DefinitionObject* const definition = ui.definitions->all.find(id);
  if (definition == nullptr) return ClickResult::noDefinition;

  const auto command = makeHostObject<CommandObject>(interceptor_);
  const auto created = makeHostObject<CommandCreatedEventArgsObject>(interceptor_, *command);
  definition->commandCreated->raise(created.get(), notifier());
  const auto executed = makeHostObject<CommandEventArgsObject>(interceptor_);
  command->execute->raise(executed.get(), notifier());
  return ClickResult::done;
}

bool Host::message(const std::string& id, std::optional<std::string> data) {
  PaletteObject* const sender = palette(id);
  if (sender == nullptr) return false;
  const auto arguments = makeHostObject<HTMLEventArgsObject>(interceptor_, std::move(data));
  sender->incomingFromHTML->raise(arguments.get(), notifier());
  return true;
}

bool Host::setVisible(const std::string& id, bool visible) {
  PaletteObject* const shown = palette(id);
  if (shown == nullptr) return false;
  shown->setVisible(visible);
  return true;
}

bool Host::setDockingState(const std::string& id, int state) {
  PaletteObject* const moved = palette(id);
  if (moved == nullptr) return false;
  moved->dockingState = state;
  return true;
}

bool Host::plant(ObjectKind kind, const std::string& id) {
  UserInterfaceObject& ui = *application_->userInterface;
  switch (kind) {
    case ObjectKind::palette: {
      PaletteValues values;
      values.id = id;
      values.title = id;
      return ui.palettes->all.add(makeHostObject<PaletteObject>(interceptor_, ui.palettes->all,
                                                                std::move(values))) != nullptr;
    }
    case ObjectKind::definition:
      return ui.definitions->all.add(makeHostObject<DefinitionObject>(
                 interceptor_, ui.definitions->all, id, id, "", "")) != nullptr;
    case ObjectKind::control:
    case ObjectKind::plainControl: {
      const ToolbarObject* const toolbar = firstToolbar();
      if (toolbar == nullptr) return false;
      const auto controlKind =
          kind == ObjectKind::control ? ControlObject::Kind::command : ControlObject::Kind::plain;
      return toolbar->controls->all.add(makeHostObject<ControlObject>(
                 interceptor_, toolbar->controls->all, controlKind, id)) != nullptr;
    }
    case ObjectKind::toolbar:
      break;
  }
  return false;
}

bool Host::remove(ObjectKind kind, const std::string& id) {
  UserInterfaceObject& ui = *application_->userInterface;
  switch (kind) {
    case ObjectKind::palette:
      return ui.palettes->all.remove(ui.palettes->all.find(id));
    case ObjectKind::definition:
      return ui.definitions->all.remove(ui.definitions->all.find(id));
    case ObjectKind::control:
    case ObjectKind::plainControl:
      for (const auto& toolbar : ui.toolbars->all.items()) {
        auto& controls = toolbar->controls->all;
        const ControlObject* const control = controls.find(id);
        if (control != nullptr && control->showsCommand() == (kind == ObjectKind::control)) {
          return controls.remove(control);
        }
      }
      return false;
    case ObjectKind::toolbar:
      return ui.toolbars->all.remove(ui.toolbars->all.find(id));
  }
  return false;
}

std::vector<std::string> Host::objectsOfAddIn() const {
  std::vector<std::string> names;
  const auto add = [&names](const auto& collection) {
    for (const auto& item : collection.items()) {
      const ReferenceCounted& object = *item;
      if (object.isOfAddIn()) names.push_back(object.name());
    }
  };
  const UserInterfaceObject& ui = *application_->userInterface;
  add(ui.palettes->all);
  add(ui.definitions->all);
  for (const auto& toolbar : ui.toolbars->all.items()) add(toolbar->controls->all);
  return names;
}

std::vector<std::string> Host::stateKeys() {
  std::vector<std::string> keys;
  for (const StateEntry& entry : stateEntries) keys.emplace_back(entry.key);
  return keys;
}

Json Host::state() const {
  Json state;
  for (const StateEntry& entry : stateEntries) state[entry.key] = entry.valueIn(*application_);
  return state;
}

Notifier Host::notifier() const {
  return [this](core::EventHandler& handler, const std::function<void()>& call) {
    callAddIn([&] {
      interceptor_.trace.publish({{"event", "notify"}, {"handler", typeName(typeid(handler))}});
      call();
    });
  };
}

// Every call into the add-in. An exception of any type ends here.
void Host::callAddIn(const std::function<void()>& call) const {
  Json threw;
  try {
    call();
  } catch (const std::exception& exception) {
    threw = {{"event", "threw"}, {"type", typeName(typeid(exception))}, {"what", exception.what()}};
  } catch (...) {
    const std::type_info* const type = abi::__cxa_current_exception_type();
    threw = {{"event", "threw"}, {"type", type == nullptr ? "" : typeName(*type)}, {"what", ""}};
  }
  callReturned.publish();
  if (!threw.is_null()) interceptor_.trace.publish(threw);
}

ToolbarObject* Host::firstToolbar() const {
  const auto& toolbars = application_->userInterface->toolbars->all.items();
  return toolbars.empty() ? nullptr : toolbars.front().get();
}

PaletteObject* Host::palette(const std::string& id) const {
  return application_->userInterface->palettes->all.find(id);
}

}  // namespace substitute

core::Application* core::Application::get_raw() {
  substitute::Host* const host = substitute::Host::current();
  if (host == nullptr) return nullptr;
  return host->interceptor().call(substitute::Operation::Application_get, nullptr,
                                  [&] { return &host->application(); });
}
