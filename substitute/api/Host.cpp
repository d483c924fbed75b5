#include "substitute/api/Host.h"

#include <cxxabi.h>

#include <stdexcept>
#include <typeinfo>

#include "substitute/api/HostObjects.h"

namespace core = adsk::core;

namespace substitute {

namespace {

Host* currentHost = nullptr;

Json toJson(const std::optional<std::string>& string) {
  return string ? Json(*string) : Json();
}

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

Json Host::state() const {
  const UserInterfaceObject& ui = *application_->userInterface;
  Json state;
  state["offline"] = application_->offline;
  state["language"] = application_->preferences->general->language;
  state["entitlement"] = toJson(application_->entitlement);
  state["palettes"] = Json::array();
  for (const auto& palette : ui.palettes->all.items()) {
    state["palettes"].push_back(
        {{"id", palette->id()},
         {"title", palette->values().title},
         {"address", palette->values().address},
         {"visible", palette->values().visible},
         {"dockingState", palette->dockingState},
         {"width", palette->values().width},
         {"height", palette->values().height},
         {"handlers", palette->incomingFromHTML->registrations.handlerNames()}});
  }
  state["toolbars"] = Json::array();
  for (const auto& toolbar : ui.toolbars->all.items()) {
    Json controls = Json::array();
    for (const auto& control : toolbar->controls->all.items()) {
      controls.push_back({{"id", control->id()}, {"class", control->className()}});
    }
    state["toolbars"].push_back({{"id", toolbar->id()}, {"controls", controls}});
  }
  state["definitions"] = Json::array();
  for (const auto& definition : ui.definitions->all.items()) {
    state["definitions"].push_back(
        {{"id", definition->id()},
         {"name", definition->name},
         {"tooltip", definition->tooltip},
         {"resourceFolder", definition->resourceFolder},
         {"handlers", definition->commandCreated->registrations.handlerNames()}});
  }
  state["onlineStatusHandlers"] = application_->onlineStatusChanged->registrations.handlerNames();
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
