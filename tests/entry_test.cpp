// run: what the add-in does when the host starts it.
#include "tests/AddInFixture.h"

namespace {

class Run : public AddInFixture {};

}  // namespace

TEST_F(Run, FirstStartCallsTheHostInItsOrder) {
  EXPECT_EQ(start(), true);
  EXPECT_EQ(
      calls(),
      Calls(
          {"run",
           "Application.get() = Application",
           "Application.userInterface() = UserInterface",
           "Application.onlineStatusChanged() = ApplicationEvent",
           "ApplicationEvent.add(\"OnlineStatusChangedHandler\") = true",
           "Application.isOffLine() = false",
           "Application.executeTextCommand(\"Debug.EntitlementString\") = TEXT",
           "Application.preferences() = Preferences",
           "Preferences.generalPreferences() = GeneralPreferences",
           "GeneralPreferences.userLanguage() = 2",
           "Application.get() = Application",
           "Application.userInterface() = UserInterface",
           "UserInterface.palettes() = Palettes",
           "Palettes.itemById(\"teachPalete\") = null",
           "Palettes.add(\"teachPalete\", \"Velorin\", "
           "\"https://learning.velorin.example/fusion360/learning.asp?lang=CSY&lic=TEXT\", true, "
           "true, true, 300, 400, true) = Palette:teachPalete",
           "Palette.dockingState(4) on Palette:teachPalete = true",
           "Palette.incomingFromHTML() on Palette:teachPalete = HTMLEvent",
           "HTMLEvent.add(\"RovaHTMLEventHandler\") = true",
           "Palette.isVisible(true) on Palette:teachPalete = true",
           "Application.userInterface() = UserInterface",
           "UserInterface.toolbars() = Toolbars",
           "Toolbars.itemById(\"QATRight\") = Toolbar:QATRight",
           "UserInterface.commandDefinitions() = CommandDefinitions",
           "CommandDefinitions.addButtonDefinition(\"runTeachPalette\", \"Zobrazit velorin\", "
           "\"Velorin je pomocník pro začátečníky, integrovaný do prostředí programu Fusion 360 a "
           "napomáhá s prvními kroky v aplikaci.\", \"resources/Velorin/LessTen\") = "
           "CommandDefinition:runTeachPalette",
           "Toolbar.controls() on Toolbar:QATRight = ToolbarControls",
           "ToolbarControls.addCommand(\"CommandDefinition:runTeachPalette\", "
           "\"HelpGroupCommand\", false) = CommandControl:runTeachPalette",
           "CommandDefinition.commandCreated() on CommandDefinition:runTeachPalette = "
           "CommandCreatedEvent",
           "CommandCreatedEvent.add(\"CmdCreatedEventHandler\") = true",
           "run returned true"}));
  EXPECT_EQ(state()["references"], 3) << "app, ui and palette";
}

TEST_F(Run, TheCountAndTheStatusDecideOnThePaletteAndTheIcons) {
  const struct {
    int count;
    bool offline;
    bool opens;
    const char* icons;
  } starts[] = {
      {-1, false, false, "resources/Velorin/LessTen"},
      {0, false, true, "resources/Velorin/LessTen"},
      {0, true, false, "resources/Velorin/LessTen"},
      {1, false, true, "resources/Velorin"},
      {3, false, true, "resources/Velorin"},
      {3, true, false, "resources/Velorin"},
      {4, false, false, "resources/Velorin"},
  };
  for (const auto& [count, offline, opens, icons] : starts) {
    SCOPED_TRACE(count);
    host->setOffline(offline);
    EXPECT_EQ(startAfter(count), true);
    EXPECT_EQ(countOpenPalette(), count);
    EXPECT_EQ(!learningPalette().is_null(), opens);
    EXPECT_EQ(state()["definitions"].at(0)["resourceFolder"], icons);
    stop();
    unload();
  }
}

TEST_F(Run, WithoutToolbarsUsesAnEmptyHandle) {
  fail("UserInterface.toolbars");
  load();
  expectFatal([this] { start(); });
}
