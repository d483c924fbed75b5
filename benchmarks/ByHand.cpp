// The reference: the add-in as one writes it with nothing between oneself and the host. It hands
// plain strings to the host's raw operations, drops each reference through a pointer that costs
// nothing, and reads and writes the info file with C's own functions. It makes the same calls in
// the same order and copes with all that the add-in copes with. The e-shop's command is left out:
// no measured moment comes near it.
#include <Core/CoreAll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

using namespace adsk::core;

extern "C" int _NSGetExecutablePath(char* path, std::uint32_t* size);

namespace {

struct ReleaseDeleter {
  void operator()(const Base* object) const { object->release(); }
};
template <class T>
using HostPtr = std::unique_ptr<T, ReleaseDeleter>;

HostPtr<Application> app;
HostPtr<UserInterface> ui;
HostPtr<Palette> palette;
std::int32_t count = 0;

std::string infoFile() {
  char executable[512] = "";
  std::uint32_t size = sizeof executable;
  _NSGetExecutablePath(executable, &size);
  char* end = executable + std::strlen(executable);
  while (end > executable && *end != '/' && *end != '\\') --end;
  *end = '\0';
  if (char* const anchor = std::strstr(executable, "Autodesk")) *anchor = '\0';
  std::string path = executable;
  path += "Autodesk/Autodesk Fusion 360/API/AddIns/Velorin/Velorin_Info.txt";
  return path;
}

void createInfoFile(const std::string& path) {
  std::FILE* const file = std::fopen(path.c_str(), "w+");
  if (file == nullptr) return;
  const std::time_t now = std::time(nullptr);
  char date[80];
  std::strftime(date, sizeof date, "%d.%m.%Y\n1", std::localtime(&now));
  std::fputs(date, file);
  std::fclose(file);
}

// The number at the start of `text`, 0 when there is none of 32 bits.
std::int32_t parseCount(const char* text) {
  char* end = nullptr;
  errno = 0;
  const long value = std::strtol(text, &end, 10);
  if (end == text || errno == ERANGE || value < INT32_MIN || value > INT32_MAX) return 0;
  return static_cast<std::int32_t>(value);
}

std::int32_t updateInfoFile(const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "r");
  if (file == nullptr) return -1;
  std::vector<std::string> lines;
  char* line = nullptr;
  std::size_t room = 0;
  for (ssize_t length = 0; (length = getline(&line, &room, file)) > 0;) {
    if (line[length - 1] == '\n') --length;
    lines.emplace_back(line, static_cast<std::size_t>(length));
  }
  std::free(line);
  std::fclose(file);

  std::int32_t number = 0;
  if (lines.size() < 2) {
    lines.emplace_back("1");
  } else {
    number = parseCount(lines[1].c_str());
    lines[1] = std::to_string(static_cast<std::int32_t>(static_cast<std::uint32_t>(number) + 1U));
  }
  file = std::fopen(path.c_str(), "w");
  if (file == nullptr) return number;
  for (const std::string& each : lines) {
    std::fwrite(each.data(), 1, each.size(), file);
    std::putc('\n', file);
  }
  std::fclose(file);
  return number;
}

std::int32_t countStart() {
  const std::string path = infoFile();
  if (access(path.c_str(), F_OK) == 0) return updateInfoFile(path);
  createInfoFile(path);
  return 0;
}

std::string learningPageAddress() {
  char* const entitlement = app->executeTextCommand_raw("Debug.EntitlementString");
  const HostPtr<Preferences> preferences(app->preferences_raw());
  const HostPtr<GeneralPreferences> general(preferences->generalPreferences_raw());
  std::string address = "https://" VELORIN_LEARNING_HOST "/fusion360/learning.asp?lang=";
  address += general->userLanguage_raw() == 2 ? "CSY&lic=" : "ENG&lic=";
  if (entitlement != nullptr) {
    address += entitlement;
    DeallocateArrayInternal(entitlement);
  }
  return address;
}

bool show(Palettes& palettes, const std::string& address, HTMLEventHandler& handler) {
  palette.reset(palettes.itemById_raw("teachPalete"));
  if (palette) {
    palette->isVisible_raw(true);
    return true;
  }
  palette.reset(palettes.add_raw("teachPalete", "Velorin", address.c_str(), true, true, true, 300,
                                 400, true));
  if (!palette) return false;
  palette->dockingState_raw(static_cast<PaletteDockingStates>(4));
  const HostPtr<HTMLEvent> messages(palette->incomingFromHTML_raw());
  if (!messages || !messages->add_raw(&handler)) return false;
  palette->isVisible_raw(true);
  return true;
}

void openTarget(const HTMLEventArgs& eventArgs) {
  char* const data = eventArgs.data_raw();
  const std::size_t length = data == nullptr ? 0 : std::strlen(data);
  const std::string target(length > 2 ? data + 1 : "", length > 2 ? length - 2 : 0);
  if (data != nullptr) DeallocateArrayInternal(data);
  if (length == 0) throw std::out_of_range("an empty message");
  [[maybe_unused]] const int status = std::system(("open " + target).c_str());
}

void removeCommand(const Toolbar& toolbar, const char* id) {
  {
    const HostPtr<CommandDefinitions> definitions(ui->commandDefinitions_raw());
    const HostPtr<CommandDefinition> definition(definitions->itemById_raw(id));
    if (definition) definition->deleteMe_raw();
  }
  const HostPtr<ToolbarControls> controls(toolbar.controls_raw());
  const HostPtr<ToolbarControl> control(controls->itemById_raw(id));
  if (!control) return;
  auto* const command =
      static_cast<CommandControl*>(control->queryInterface(CommandControl::classType()));
  if (command != nullptr) command->deleteMe_raw();
}

}  // namespace

// The names of the add-in's own handlers: the host's trace tells handlers by their class.
class MessageHandler : public HTMLEventHandler {
  void notify(const Ptr<HTMLEventArgs>& eventArgs) override { openTarget(*eventArgs.get()); }
};
class RovaHTMLEventHandler final : public MessageHandler {};
class CadFirst3sHTMLEventHandler final : public MessageHandler {};

static RovaHTMLEventHandler onMessage;
static CadFirst3sHTMLEventHandler onMessageFirst3;

static void openPalette() {
  const std::string address = learningPageAddress();
  const HostPtr<Application> application(Application::get_raw());
  if (!application) return;
  const HostPtr<UserInterface> userInterface(application->userInterface_raw());
  if (!userInterface) return;
  const HostPtr<Palettes> palettes(userInterface->palettes_raw());
  if (palettes) show(*palettes, address, onMessage);
}

class CmdExecuteEventHandler final : public CommandEventHandler {
  void notify(const Ptr<CommandEventArgs>& /*eventArgs*/) override { openPalette(); }
};

static CmdExecuteEventHandler onExecute;

class CmdCreatedEventHandler final : public CommandCreatedEventHandler {
  void notify(const Ptr<CommandCreatedEventArgs>& eventArgs) override {
    const HostPtr<Command> command(eventArgs->command_raw());
    const HostPtr<CommandInputs> inputs(command->commandInputs_raw());
    if (!inputs) return;
    const HostPtr<CommandEvent> execute(command->execute_raw());
    if (execute) execute->add_raw(&onExecute);
  }
};

class OnlineStatusChangedHandler final : public ApplicationEventHandler {
  void notify(const Ptr<ApplicationEventArgs>& eventArgs) override {
    if (!eventArgs || eventArgs->isOffLine_raw() || count < 0 || count > 3) return;
    const std::string address = learningPageAddress();
    const HostPtr<Palettes> palettes(ui->palettes_raw());
    if (palettes) show(*palettes, address, onMessageFirst3);
  }
};

static CmdCreatedEventHandler onCreated;
static OnlineStatusChangedHandler onOnline;

extern "C" bool run(const char* /*context*/) {
  app.reset(Application::get_raw());
  if (!app) return false;
  ui.reset(app->userInterface_raw());
  if (!ui) return false;
  count = countStart();
  {
    const HostPtr<ApplicationEvent> status(app->onlineStatusChanged_raw());
    if (!status) return false;
    status->add_raw(&onOnline);
  }
  if (!app->isOffLine_raw() && count >= 0 && count <= 3) openPalette();

  const HostPtr<UserInterface> userInterface(app->userInterface_raw());
  const HostPtr<Toolbars> toolbars(userInterface->toolbars_raw());
  const HostPtr<Toolbar> toolbar(toolbars->itemById_raw("QATRight"));
  if (!toolbar) return false;
  const HostPtr<CommandDefinitions> definitions(ui->commandDefinitions_raw());
  const HostPtr<CommandDefinition> definition(definitions->addButtonDefinition_raw(
      "runTeachPalette", "Zobrazit velorin",
      "Velorin je pomocník pro začátečníky, integrovaný do prostředí programu Fusion "
      "360 a napomáhá s prvními kroky v aplikaci.",
      count < 1 ? "resources/Velorin/LessTen" : "resources/Velorin"));
  if (!definition) return false;
  const HostPtr<ToolbarControls> controls(toolbar->controls_raw());
  const HostPtr<CommandControl> control(
      controls->addCommand_raw(definition.get(), "HelpGroupCommand", false));
  if (!control) return false;
  const HostPtr<CommandCreatedEvent> created(definition->commandCreated_raw());
  return created && created->add_raw(&onCreated);
}

extern "C" bool stop(const char* /*context*/) {
  if (!ui) return true;
  const HostPtr<Palettes> palettes(ui->palettes_raw());
  if (!palettes) return false;
  const HostPtr<Palette> shown(palettes->itemById_raw("teachPalete"));
  if (shown) {
    shown->deleteMe_raw();
    shown->isValid_raw();
  }
  const HostPtr<UserInterface> userInterface(app->userInterface_raw());
  const HostPtr<Toolbars> toolbars(userInterface->toolbars_raw());
  const HostPtr<Toolbar> toolbar(toolbars->itemById_raw("QATRight"));
  if (!toolbar) return false;
  removeCommand(*toolbar, "openEshop");
  removeCommand(*toolbar, "runTeachPalette");
  ui.reset();
  return true;
}
