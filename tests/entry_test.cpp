// run: what the add-in does when the host starts it.
#include "tests/AddInFixture.h"
#include "tests/ExpectedCalls.h"

using substitute::Json;

namespace {

class Run : public AddInFixture {};

const std::string tooltip =
    "Velorin je pomocník pro začátečníky, integrovaný do prostředí programu Fusion 360 a napomáhá "
    "s prvními kroky v aplikaci.";

}  // namespace

TEST_F(Run, FirstStartCallsTheHostInItsOrder) {
  EXPECT_EQ(start(), true);
  EXPECT_EQ(
      calls(),
      Calls({
          "run",
          "Application.get() = Application",
          "Application.userInterface() = UserInterface",
          "Application.onlineStatusChanged() = ApplicationEvent",
          "ApplicationEvent.add(\"OnlineStatusChangedHandler\") = true",
          "Application.isOffLine() = false",
      }) + addressCalls() +
          palettesCalls() + creationCalls("RovaHTMLEventHandler") +
          Calls({
              "Application.userInterface() = UserInterface",
              "UserInterface.toolbars() = Toolbars",
              "Toolbars.itemById(\"QATRight\") = Toolbar:QATRight",
              "UserInterface.commandDefinitions() = CommandDefinitions",
              "CommandDefinitions.addButtonDefinition(\"runTeachPalette\", \"Zobrazit velorin\", "
              "\"" +
                  tooltip +
                  "\", \"resources/Velorin/LessTen\") = "
                  "CommandDefinition:runTeachPalette",
              "Toolbar.controls() on Toolbar:QATRight = ToolbarControls",
              "ToolbarControls.addCommand(\"CommandDefinition:runTeachPalette\", "
              "\"HelpGroupCommand\", false) = CommandControl:runTeachPalette",
              "CommandDefinition.commandCreated() on CommandDefinition:runTeachPalette = "
              "CommandCreatedEvent",
              "CommandCreatedEvent.add(\"CmdCreatedEventHandler\") = true",
              "run returned true",
          }));
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
