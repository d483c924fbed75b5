#include "substitute/core/Host.h"

#include <cxxabi.h>

#include <cstring>
#include <stdexcept>
#include <typeinfo>

#include "substitute/core/HostObjects.h"
#include "substitute/core/OpenRecorder.h"

namespace core = adsk::core;

namespace substitute {

namespace {

Host* currentHost = nullptr;

const std::string addinFolder = "Autodesk/Autodesk Fusion 360/API/AddIns/Velorin";

Json toJson(const std::optional<std::string>& text) {
  return text ? Json(*text) : Json();
}

}  // namespace

std::string executableIn(const std::string& directory) {
  return directory + "/Autodesk/webdeploy/production/Fusion";
}

std::string addinFolderIn(const std::string& directory) {
  return directory + "/" + addinFolder;
}

Host::Host(Settings settings)
    : settings_(std::move(settings)),
      application_(make<ApplicationObject>(gate_, settings_.offline, settings_.language,
                                           settings_.entitlement)) {
  if (currentHost != nullptr) throw std::logic_error("there is a host in this process already");
  if (settings_.recordOpen) recorder_ = std::make_unique<OpenRecorder>();
  auto toolbar = make<ToolbarObject>(gate_, "QATRight");
  toolbar->controls->all.add(make<ControlObject>(gate_, *toolbar->controls,
                                                 ControlObject::Kind::command, "HelpGroupCommand"));
  application_->userInterface->toolbars->all.add(std::move(toolbar));
  currentHost = this;
}

Host::~Host() {
  currentHost = nullptr;
}

Host* Host::current() {
  return currentHost;
}

std::optional<bool> Host::enter(const std::string& call, const std::function<bool()>& work) {
  std::optional<bool> result;
  guarded([&] {
    gate_.event({{"event", call}});
    result = work();
    gate_.event({{"event", call + " returned"}, {"value", *result}});
  });
  return result;
}

void Host::setOffline(bool offline) {
  application_->offline = offline;
  const auto arguments = make<ApplicationEventArgsObject>(gate_, offline);
  application_->onlineStatusChanged->raise(
      arguments.get(), [this](auto& handler, const auto& call) { notify(handler, call); });
}

void Host::reportStatusWithoutArguments() {
  application_->onlineStatusChanged->raise(
      static_cast<const ApplicationEventArgsObject*>(nullptr),
      [this](auto& handler, const auto& call) { notify(handler, call); });
}

void Host::setLanguage(int language) {
  application_->preferences->general->language = language;
}

void Host::setEntitlement(std::optional<std::string> text) {
  application_->entitlement = std::move(text);
}

Click Host::click(const std::string& id) {
  const UserInterfaceObject& ui = *application_->userInterface;
  bool found = false;
  for (const auto& toolbar : ui.toolbars->all.items()) {
    const ControlObject* const control = toolbar->controls->all.find(id);
    found = found || (control != nullptr && control->showsCommand());
  }
  if (!found) return Click::noControl;
  DefinitionObject* const definition = ui.definitions->all.find(id);
  if (definition == nullptr) return Click::noDefinition;

  const auto call = [this](auto& handler, const auto& work) { notify(handler, work); };
  const auto command = make<CommandObject>(gate_);
  const auto created = make<CommandCreatedEventArgsObject>(gate_, *command);
  definition->commandCreated->raise(created.get(), call);
  const auto executed = make<CommandEventArgsObject>(gate_);
  command->execute->raise(executed.get(), call);
  return Click::done;
}

bool Host::message(const std::string& id, std::optional<std::string> data) {
  PaletteObject* const sender = palette(id);
  if (sender == nullptr) return false;
  const auto arguments = make<HTMLEventArgsObject>(gate_, std::move(data));
  sender->incomingFromHTML->raise(
      arguments.get(), [this](auto& handler, const auto& call) { notify(handler, call); });
  return true;
}

bool Host::setVisible(const std::string& id, bool visible) {
  PaletteObject* const shown = palette(id);
  if (shown == nullptr) return false;
  shown->values.visible = visible;
  return true;
}

bool Host::plant(Kind kind, const std::string& id) {
  UserInterfaceObject& ui = *application_->userInterface;
  switch (kind) {
    case Kind::palette: {
      PaletteValues values;
      values.id = id;
      values.title = id;
      return ui.palettes->all.add(make<PaletteObject>(gate_, *ui.palettes, values)) != nullptr;
    }
    case Kind::definition:
      return ui.definitions->all.add(
                 make<DefinitionObject>(gate_, *ui.definitions, id, id, "", "")) != nullptr;
    case Kind::control:
    case Kind::plainControl: {
      const ToolbarObject* const toolbar = firstToolbar();
      if (toolbar == nullptr) return false;
      const auto controlKind =
          kind == Kind::control ? ControlObject::Kind::command : ControlObject::Kind::plain;
      return toolbar->controls->all.add(
                 make<ControlObject>(gate_, *toolbar->controls, controlKind, id)) != nullptr;
    }
    case Kind::toolbar:
      break;
  }
  return false;
}

bool Host::remove(Kind kind, const std::string& id) {
  UserInterfaceObject& ui = *application_->userInterface;
  switch (kind) {
    case Kind::palette:
      return ui.palettes->all.remove(ui.palettes->all.find(id));
    case Kind::definition:
      return ui.definitions->all.remove(ui.definitions->all.find(id));
    case Kind::control:
    case Kind::plainControl:
      for (const auto& toolbar : ui.toolbars->all.items()) {
        auto& controls = toolbar->controls->all;
        const ControlObject* const control = controls.find(id);
        if (control != nullptr && control->showsCommand() == (kind == Kind::control)) {
          return controls.remove(control);
        }
      }
      return false;
    case Kind::toolbar:
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
         {"title", palette->values.title},
         {"address", palette->values.address},
         {"visible", palette->values.visible},
         {"dockingState", palette->dockingState},
         {"width", palette->values.width},
         {"height", palette->values.height},
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
  state["infoFile"] = infoFile();
  state["references"] = ledger().references;
  state["text"] = ledger().texts;
  state["opened"] = opened_;
  return state;
}

std::string Host::infoFile() const {
  std::string path = settings_.executable;
  if (path.size() > 511) path.clear();  // more than the add-in has room for
  const auto separator = path.find_last_of("/\\");
  path.erase(separator == std::string::npos ? 0 : separator);
  const auto anchor = path.find("Autodesk");
  if (anchor != std::string::npos) path.erase(anchor);
  return path + addinFolder + "/Velorin_Info.txt";
}

const std::vector<std::vector<std::string>>& Host::opened() const {
  return opened_;
}

void Host::notify(core::EventHandler& handler, const std::function<void()>& call) {
  guarded([&] {
    gate_.event({{"event", "notify"}, {"handler", typeName(typeid(handler))}});
    call();
  });
}

// The last frame of the host's below the add-in: exceptions of any type end here.
void Host::guarded(const std::function<void()>& call) {
  Json threw;
  try {
    call();
  } catch (const std::exception& exception) {
    threw = {{"event", "threw"}, {"type", typeName(typeid(exception))}, {"what", exception.what()}};
  } catch (...) {
    const std::type_info* const type = abi::__cxa_current_exception_type();
    threw = {{"event", "threw"}, {"type", type == nullptr ? "" : typeName(*type)}, {"what", ""}};
  }
  if (recorder_) {
    for (auto& arguments : recorder_->collect()) {
      gate_.event({{"event", "open"}, {"args", arguments}});
      opened_.push_back(std::move(arguments));
    }
  }
  if (!threw.is_null()) gate_.event(threw);
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
  return host->gate().object("Application.get", nullptr, [&] { return &host->application(); });
}

// The system's on macOS: 0, or -1 with the size that it takes and `path` left alone.
extern "C" int _NSGetExecutablePath(char* path, std::uint32_t* size) {
  substitute::Host* const host = substitute::Host::current();
  if (host == nullptr) return -1;
  const std::string& executable = host->settings().executable;
  const auto needed = static_cast<std::uint32_t>(executable.size() + 1);
  if (needed > *size) {
    *size = needed;
    return -1;
  }
  std::memcpy(path, executable.c_str(), needed);
  return 0;
}
