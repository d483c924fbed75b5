// The reference: the add-in as one writes it with nothing between oneself and the host. It hands
// plain text to the host's raw operations, drops each reference through a pointer that costs
// nothing, and updates the info file with the system's own calls. What can be of any length, the
// page's address and the file's content, it keeps in a string. It makes the same calls in the
// same order, copes with all that the add-in copes with, and asserts where the add-in does. The
// e-shop's command is left out: no measured path comes near it.
#include <Core/CoreAll.h>
#include <fcntl.h>
#include <unistd.h>

#include <cassert>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <string>

using namespace adsk::core;

extern "C" {
int _NSGetExecutablePath(char* path, std::uint32_t* size);
bool run(const char* context);
bool stop(const char* context);
}
bool OpenPalette();
std::int32_t AutoOpenPalette();

namespace {

struct Release {
  void operator()(const Base* object) const { object->release(); }
};
template <class T>
using Held = std::unique_ptr<T, Release>;

// `object`, which the host always has.
template <class T>
T* present(T* object) {
  assert(object != nullptr);
  return object;
}

class MessageHandler final : public HTMLEventHandler {
 public:
  void notify(const Ptr<HTMLEventArgs>& eventArgs) override;
};
class OnlineHandler final : public ApplicationEventHandler {
 public:
  void notify(const Ptr<ApplicationEventArgs>& eventArgs) override;
};
class CreatedHandler final : public CommandCreatedEventHandler {
 public:
  void notify(const Ptr<CommandCreatedEventArgs>& eventArgs) override;
};
class ExecuteHandler final : public CommandEventHandler {
 public:
  void notify(const Ptr<CommandEventArgs>& eventArgs) override;
};

Held<Application> app;
Held<UserInterface> ui;
Held<Palette> palette;
std::int32_t count = 0;
MessageHandler onMessage;
MessageHandler onMessageFirst3;
ExecuteHandler onExecute;
CreatedHandler onCreated;
OnlineHandler onOnline;

// The info file's path; false when it does not fit into `path`.
bool infoFile(char (&path)[PATH_MAX]) {
  char executable[512];
  executable[0] = '\0';
  std::uint32_t size = sizeof executable;
  _NSGetExecutablePath(executable, &size);
  char* end = executable + std::strlen(executable);
  while (end > executable && *end != '/' && *end != '\\') --end;
  *end = '\0';
  if (char* const anchor = std::strstr(executable, "Autodesk")) end = anchor;
  static constexpr char place[] =
      "Autodesk/Autodesk Fusion 360/API/AddIns/Velorin/Velorin_Info.txt";
  const auto length = static_cast<std::size_t>(end - executable);
  if (length + sizeof place > sizeof path) return false;
  std::memcpy(path, executable, length);
  std::memcpy(path + length, place, sizeof place);
  return true;
}

void writeAll(int file, const char* text, std::size_t size) {
  while (size > 0) {
    const ssize_t written = write(file, text, size);
    if (written <= 0) return;
    text += written;
    size -= static_cast<std::size_t>(written);
  }
}

std::int32_t createInfoFile(const char* path) {
  const std::time_t now = std::time(nullptr);
  char text[80];
  const std::size_t size = std::strftime(text, sizeof text, "%d.%m.%Y\n1", std::localtime(&now));
  const int file = open(path, O_RDWR | O_CREAT | O_TRUNC, 0666);
  if (file < 0) return 0;
  writeAll(file, text, size);
  close(file);
  return 0;
}

// All that is in `file`. One read where it is small: a short one is the file's end.
std::string readAll(int file) {
  std::string text(4096 + 1, '\0');
  std::size_t size = 0;
  for (;;) {
    const std::size_t room = text.size() - size;
    const ssize_t got = read(file, &text[size], room);
    if (got > 0) size += static_cast<std::size_t>(got);
    if (got < static_cast<ssize_t>(room)) break;
    text.resize(2 * text.size());
  }
  text.resize(size);
  return text;
}

// The number at the start of `text`, 0 when there is none of 32 bits.
std::int32_t parseCount(const char* text) {
  char* end = nullptr;
  errno = 0;
  const long value = std::strtol(text, &end, 10);
  if (end == text || errno == ERANGE || value < INT32_MIN || value > INT32_MAX) return 0;
  return static_cast<std::int32_t>(value);
}

std::int32_t updateInfoFile(const char* path) {
  int file = open(path, O_RDONLY);
  if (file < 0) return -1;
  std::string text = readAll(file);
  close(file);
  if (!text.empty() && text.back() != '\n') text += '\n';

  // The second line and its line feed are [second, third); both at the end when there is none.
  const auto first = text.find('\n');
  const std::size_t second = first == std::string::npos ? text.size() : first + 1;
  std::int32_t number = 0;
  std::size_t third = second;
  if (second < text.size()) {
    third = text.find('\n', second) + 1;
    text[third - 1] = '\0';
    number = parseCount(&text[second]);
  }
  char counter[16];
  const int digits =
      std::snprintf(counter, sizeof counter, "%d\n",
                    static_cast<std::int32_t>(static_cast<std::uint32_t>(number) + 1U));
  text.replace(second, third - second, counter, static_cast<std::size_t>(digits));

  file = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0666);
  if (file < 0) return number;
  writeAll(file, text.data(), text.size());
  close(file);
  return number;
}

std::string address() {
  assert(app);
  char* const entitlement = app->executeTextCommand_raw("Debug.EntitlementString");
  std::string text;
  const std::size_t length = entitlement == nullptr ? 0 : std::strlen(entitlement);
  static constexpr char prefix[] = "https://" VELORIN_LEARNING_HOST "/fusion360/learning.asp?lang=";
  text.reserve(sizeof prefix + 8 + length);
  text = prefix;
  const Held<Preferences> preferences(present(app->preferences_raw()));
  const Held<GeneralPreferences> general(present(preferences->generalPreferences_raw()));
  text += general->userLanguage_raw() == 2 ? "CSY&lic=" : "ENG&lic=";
  if (entitlement != nullptr) {
    text.append(entitlement, length);
    DeallocateArrayInternal(entitlement);
  }
  return text;
}

bool show(Palettes& palettes, const std::string& page, MessageHandler& handler) {
  palette.reset(palettes.itemById_raw("teachPalete"));
  if (palette) {
    palette->isVisible_raw(true);
    return true;
  }
  palette.reset(
      palettes.add_raw("teachPalete", "Velorin", page.c_str(), true, true, true, 300, 400, true));
  if (!palette) return false;
  palette->dockingState_raw(static_cast<PaletteDockingStates>(4));
  const Held<HTMLEvent> messages(palette->incomingFromHTML_raw());
  if (!messages || !messages->add_raw(&handler)) return false;
  palette->isVisible_raw(true);
  return true;
}

void MessageHandler::notify(const Ptr<HTMLEventArgs>& eventArgs) {
  char* const data = eventArgs->data_raw();
  const std::size_t length = data == nullptr ? 0 : std::strlen(data);
  if (length == 0) {
    if (data != nullptr) DeallocateArrayInternal(data);
    throw std::out_of_range("no text");
  }
  std::string command;
  command.reserve(5 + length);
  command = "open ";
  if (length > 2) command.append(data + 1, length - 2);
  DeallocateArrayInternal(data);
  [[maybe_unused]] const int status = std::system(command.c_str());
}

void OnlineHandler::notify(const Ptr<ApplicationEventArgs>& eventArgs) {
  if (!eventArgs || eventArgs->isOffLine_raw()) return;
  if (count < 0 || count > 3) return;
  const std::string page = address();
  assert(ui);
  const Held<Palettes> palettes(ui->palettes_raw());
  if (palettes) show(*palettes, page, onMessageFirst3);
}

void CreatedHandler::notify(const Ptr<CommandCreatedEventArgs>& eventArgs) {
  const Held<Command> command(present(eventArgs->command_raw()));
  const Held<CommandInputs> inputs(command->commandInputs_raw());
  if (!inputs) return;
  const Held<CommandEvent> execute(command->execute_raw());
  if (execute) execute->add_raw(&onExecute);
}

void ExecuteHandler::notify(const Ptr<CommandEventArgs>& /*eventArgs*/) {
  OpenPalette();
}

void removeCommand(const Toolbar& toolbar, const char* id) {
  {
    const Held<CommandDefinitions> definitions(present(ui->commandDefinitions_raw()));
    const Held<CommandDefinition> definition(definitions->itemById_raw(id));
    if (definition) definition->deleteMe_raw();
  }
  const Held<ToolbarControls> controls(present(toolbar.controls_raw()));
  const Held<ToolbarControl> control(controls->itemById_raw(id));
  if (!control) return;
  auto* const command =
      static_cast<CommandControl*>(control->queryInterface(CommandControl::classType()));
  if (command != nullptr) command->deleteMe_raw();
}

}  // namespace

std::int32_t AutoOpenPalette() {
  char path[PATH_MAX];
  if (!infoFile(path)) return 0;
  return access(path, F_OK) == 0 ? updateInfoFile(path) : createInfoFile(path);
}

bool OpenPalette() {
  const std::string page = address();
  const Held<Application> application(Application::get_raw());
  if (!application) return false;
  const Held<UserInterface> userInterface(application->userInterface_raw());
  if (!userInterface) return false;
  const Held<Palettes> palettes(userInterface->palettes_raw());
  if (!palettes) return false;
  return show(*palettes, page, onMessage);
}

bool run(const char* /*context*/) {
  app.reset(Application::get_raw());
  if (!app) return false;
  ui.reset(app->userInterface_raw());
  if (!ui) return false;
  count = AutoOpenPalette();
  {
    const Held<ApplicationEvent> status(app->onlineStatusChanged_raw());
    if (!status) return false;
    status->add_raw(&onOnline);
  }
  if (!app->isOffLine_raw() && count >= 0 && count <= 3) OpenPalette();

  const Held<UserInterface> userInterface(present(app->userInterface_raw()));
  const Held<Toolbars> toolbars(present(userInterface->toolbars_raw()));
  const Held<Toolbar> toolbar(toolbars->itemById_raw("QATRight"));
  if (!toolbar) return false;
  const Held<CommandDefinitions> definitions(present(ui->commandDefinitions_raw()));
  const Held<CommandDefinition> definition(definitions->addButtonDefinition_raw(
      "runTeachPalette", "Zobrazit velorin",
      "Velorin je pomocník pro začátečníky, integrovaný do prostředí programu Fusion "
      "360 a napomáhá s prvními kroky v aplikaci.",
      count < 1 ? "resources/Velorin/LessTen" : "resources/Velorin"));
  if (!definition) return false;
  const Held<ToolbarControls> controls(present(toolbar->controls_raw()));
  const Held<CommandControl> control(
      controls->addCommand_raw(definition.get(), "HelpGroupCommand", false));
  if (!control) return false;
  const Held<CommandCreatedEvent> created(definition->commandCreated_raw());
  return created && created->add_raw(&onCreated);
}

bool stop(const char* /*context*/) {
  if (!ui) return true;
  const Held<Palettes> palettes(ui->palettes_raw());
  if (!palettes) return false;
  const Held<Palette> shown(palettes->itemById_raw("teachPalete"));
  if (shown) {
    shown->deleteMe_raw();
    shown->isValid_raw();
  }
  assert(app);
  const Held<UserInterface> userInterface(present(app->userInterface_raw()));
  const Held<Toolbars> toolbars(present(userInterface->toolbars_raw()));
  const Held<Toolbar> toolbar(toolbars->itemById_raw("QATRight"));
  if (!toolbar) return false;
  removeCommand(*toolbar, "openEshop");
  removeCommand(*toolbar, "runTeachPalette");
  ui.reset();
  return true;
}
