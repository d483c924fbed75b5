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

Json describe(const ApplicationObject& application) {
  const UserInterfaceObject& ui = *application.userInterface;
  const auto& entitlement = application.entitlement;
  return {{"offline", application.offline},
          {"language", application.preferences->general->language},
          {"entitlement", entitlement ? Json(*entitlement) : Json()},
          {"palettes", describeAll(ui.palettes->all)},
          {"toolbars", describeAll(ui.toolbars->all)},
          {"definitions", describeAll(ui.definitions->all)},
          {"onlineStatusHandlers", application.onlineStatusChanged->registrations.handlerNames()}};
}

}  // namespace

Host::Host(Settings settings)
    : settings_(std::move(settings)),
      application_(makeHostObject<ApplicationObject>(interceptor_)) {
  if (currentHost != nullptr) throw std::logic_error("there is a host in this process already");
  application_->offline = settings_.offline;
  setLanguage(settings_.language);
  setEntitlement(settings_.entitlement);
  auto toolbar = makeHostObject<ToolbarObject>(interceptor_, "QATRight");
  auto& controls = toolbar->controls->all;
  controls.add(makeHostObject<ControlObject>(interceptor_, controls, true, "HelpGroupCommand"));
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
  const auto arguments = makeHostObject<ApplicationEventArgsObject>(interceptor_);
  arguments->offline = offline;
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
  const auto arguments = makeHostObject<HTMLEventArgsObject>(interceptor_);
  arguments->data = std::move(data);
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
  const UserInterfaceObject& ui = *application_->userInterface;
  auto& palettes = ui.palettes->all;
  auto& definitions = ui.definitions->all;
  switch (kind) {
    case ObjectKind::palette:
      return palettes.add(makeHostObject<PaletteObject>(interceptor_, palettes,
                                                        PaletteValues{id, id, ""})) != nullptr;
    case ObjectKind::definition: {
      auto definition = makeHostObject<DefinitionObject>(interceptor_, definitions, id);
      definition->name = id;
      return definitions.add(std::move(definition)) != nullptr;
    }
    case ObjectKind::control:
    case ObjectKind::plainControl: {
      if (ui.toolbars->all.items().empty()) return false;
      auto& controls = ui.toolbars->all.items().front()->controls->all;
      return controls.add(makeHostObject<ControlObject>(
                 interceptor_, controls, kind == ObjectKind::control, id)) != nullptr;
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

std::vector<Host::Listed> Host::objects() const {
  std::vector<Listed> objects;
  const auto add = [&objects](ObjectKind kind, const auto& collection) {
    for (const auto& item : collection.items()) objects.push_back({kind, item.get()});
  };
  const UserInterfaceObject& ui = *application_->userInterface;
  add(ObjectKind::palette, ui.palettes->all);
  add(ObjectKind::definition, ui.definitions->all);
  add(ObjectKind::toolbar, ui.toolbars->all);
  for (const auto& toolbar : ui.toolbars->all.items()) {
    for (const auto& control : toolbar->controls->all.items()) {
      objects.push_back({control->showsCommand() ? ObjectKind::control : ObjectKind::plainControl,
                         control.get()});
    }
  }
  return objects;
}

std::vector<std::string> Host::stateKeys() {
  CallInterceptor interceptor;
  std::vector<std::string> keys;
  const Json state = describe(*makeHostObject<ApplicationObject>(interceptor));
  for (const auto& entry : state.items()) keys.push_back(entry.key());
  return keys;
}

Json Host::state() const {
  return describe(*application_);
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
