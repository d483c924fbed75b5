#include "addin/EntryPoints.h"

#include <string>
#include <string_view>

#include "addin/GlobalState.h"
#include "addin/ToolbarCommands.h"
#include "firstrun/InfoFile.h"
#include "palette/LearningPalette.h"
#include "palette/OnlineStatus.h"

using namespace adsk::core;

namespace {

// What a button shows.
struct ButtonTexts {
  const char* name;
  const char* tooltip;
  const char* resourceFolder;
};

// `firstFolder` holds the icons of the first start.
ButtonTexts buttonTexts(const char* name, const char* tooltip, const char* resourceFolder,
                        const char* firstFolder) {
  return {name, tooltip, countOpenPalette < 1 ? firstFolder : resourceFolder};
}

void deleteDefinition(const std::string& id) {
  const Ptr<CommandDefinition> definition = ui->commandDefinitions()->itemById(id);
  if (definition) definition->deleteMe();
}

// A control of another kind that happens to bear the id is left alone.
void deleteControl(const Ptr<Toolbar>& toolbar, const std::string& id) {
  const Ptr<CommandControl> control(toolbar->controls()->itemById(id));
  if (control) control->deleteMe();
}

}  // namespace

bool run(const char* /*context*/) {
  app = Application::get();
  if (!app) return false;
  ui = app->userInterface();
  if (!ui) return false;
  countOpenPalette = AutoOpenPalette();

  const Ptr<ApplicationEvent> onlineStatusChanged = app->onlineStatusChanged();
  if (!onlineStatusChanged) return false;
  onlineStatusChanged->add(&onlineStatusChangedHandler_);

  // The host counts as online when the decimal text of its status is "0".
  const std::string_view offline = app->isOffLine() ? "1" : "0";
  if (offline == "0" && countOpenPalette >= 0 && countOpenPalette <= 3) OpenPalette();

  const Ptr<Toolbar> toolbar = app->userInterface()->toolbars()->itemById("QATRight");
  if (!toolbar) return false;
  const ButtonTexts learning =
      buttonTexts("Zobrazit velorin",
                  "Velorin je pomocník pro začátečníky, integrovaný do prostředí programu Fusion "
                  "360 a napomáhá s prvními kroky v aplikaci.",
                  "resources/Velorin", "resources/Velorin/LessTen");
  const Ptr<CommandDefinition> definition = ui->commandDefinitions()->addButtonDefinition(
      "runTeachPalette", learning.name, learning.tooltip, learning.resourceFolder);
  if (!definition) return false;

  // The e-shop button has its texts ready and is not registered; stop removes one all the same.
  static_cast<void>(
      buttonTexts("CAD/CAM eshop",
                  "Otevře nabídku výukových kurzů, doplňků a rozšíření Fusionu 360 na e-shopu "
                  "Tessaro Sytems.",
                  "resources/Eshop", "resources/Eshop/LessTen"));

  const Ptr<CommandControl> control =
      toolbar->controls()->addCommand(definition, "HelpGroupCommand", false);
  if (!control) return false;
  const Ptr<CommandCreatedEvent> commandCreated = definition->commandCreated();
  if (!commandCreated) return false;
  return commandCreated->add(&_cmdCreated);
}

bool stop(const char* /*context*/) {
  if (!ui) return true;

  const Ptr<Palettes> palettes = ui->palettes();
  if (!palettes) return false;
  const Ptr<Palette> learningPalette = palettes->itemById("teachPalete");
  if (learningPalette) {
    learningPalette->deleteMe();
    // The answer decides nothing.
    learningPalette->isValid();
  }

  const Ptr<Toolbar> toolbar = app->userInterface()->toolbars()->itemById("QATRight");
  if (!toolbar) return false;
  deleteDefinition("openEshop");
  deleteControl(toolbar, "openEshop");
  deleteDefinition("runTeachPalette");
  deleteControl(toolbar, "runTeachPalette");

  ui = nullptr;
  return true;
}
