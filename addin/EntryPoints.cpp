#include "addin/EntryPoints.h"

#include <string>

#include "addin/GlobalState.h"
#include "addin/ToolbarCommands.h"
#include "firstrun/InfoFile.h"
#include "palette/LearningPalette.h"
#include "palette/OnlineStatus.h"

using namespace adsk::core;

namespace {

void deleteDefinition(const std::string& id) {
  const Ptr<CommandDefinition> definition = ui->commandDefinitions()->itemById(id);
  if (definition) definition->deleteMe();
}

// A control of another kind that has the id is left alone.
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

  // The add-in's own test is on the decimal text of the answer: "0" means online.
  const bool online = std::to_string(app->isOffLine()) == "0";
  if (online && countOpenPalette >= 0 && countOpenPalette <= lastAutoOpenCount) OpenPalette();

  // Not through `ui`: which calls the host gets, and in which order, is fixed.
  const Ptr<Toolbar> toolbar = app->userInterface()->toolbars()->itemById("QATRight");
  if (!toolbar) return false;

  const char* const name = "Zobrazit velorin";
  const char* const tooltip =
      "Velorin je pomocník pro začátečníky, integrovaný do prostředí programu Fusion 360 a "
      "napomáhá s prvními kroky v aplikaci.";
  const char* resourceFolder = "resources/Velorin";
  if (countOpenPalette < 1) resourceFolder = "resources/Velorin/LessTen";
  const Ptr<CommandDefinition> definition = ui->commandDefinitions()->addButtonDefinition(
      "runTeachPalette", name, tooltip, resourceFolder);
  if (!definition) return false;

  // The e-shop button is dormant: its texts are ready, but it is not registered. stop removes one
  // all the same.
  [[maybe_unused]] const char* const eshopName = "CAD/CAM eshop";
  [[maybe_unused]] const char* const eshopTooltip =
      "Otevře nabídku výukových kurzů, doplňků a rozšíření Fusionu 360 na e-shopu Tessaro Sytems.";
  [[maybe_unused]] const char* eshopResourceFolder = "resources/Eshop";
  if (countOpenPalette < 1) eshopResourceFolder = "resources/Eshop/LessTen";

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
    // The host gets one more call, on the deleted palette. Its result changes nothing.
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
