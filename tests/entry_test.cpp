// run: what the add-in does when the host starts it.
#include "tests/AddInFixture.h"

using substitute::Json;

namespace {

class Run : public AddInFixture {
 protected:
  // The button's icons, as the definition in the host names them.
  std::string iconFolder() { return state()["definitions"].at(0)["resourceFolder"]; }
  Json controlIds() {
    Json ids = Json::array();
    for (const Json& control : Json(state()["toolbars"].at(0)["controls"]))
      ids.push_back(control["id"]);
    return ids;
  }
};

const std::string tooltip =
    "Velorin je pomocník pro začátečníky, integrovaný do prostředí programu Fusion 360 a napomáhá "
    "s prvními kroky v aplikaci.";

}  // namespace

TEST_F(Run, FirstStartCallsTheHostInItsOrder) {
  EXPECT_EQ(start(), true);
  EXPECT_EQ(
      calls(),
      (Calls{
          "run",
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
          "CommandDefinitions.addButtonDefinition(\"runTeachPalette\", \"Zobrazit velorin\", \"" +
              tooltip + "\", \"resources/Velorin/LessTen\") = CommandDefinition:runTeachPalette",
          "Toolbar.controls() on Toolbar:QATRight = ToolbarControls",
          "ToolbarControls.addCommand(\"CommandDefinition:runTeachPalette\", \"HelpGroupCommand\", "
          "false) = CommandControl:runTeachPalette",
          "CommandDefinition.commandCreated() on CommandDefinition:runTeachPalette = "
          "CommandCreatedEvent",
          "CommandCreatedEvent.add(\"CmdCreatedEventHandler\") = true",
          "run returned true",
      }));
}

TEST_F(Run, TheCountDecidesOnThePaletteAndTheIcons) {
  const struct {
    int count;
    bool opens;
    const char* icons;
  } starts[] = {
      {-1, false, "resources/Velorin/LessTen"}, {0, true, "resources/Velorin/LessTen"},
      {1, true, "resources/Velorin"},           {3, true, "resources/Velorin"},
      {4, false, "resources/Velorin"},
  };
  for (const auto& [count, opens, icons] : starts) {
    SCOPED_TRACE(count);
    EXPECT_EQ(startAfter(count), true);
    EXPECT_EQ(countOpenPalette(), count);
    EXPECT_EQ(!learningPalette().is_null(), opens);
    EXPECT_EQ(iconFolder(), icons);
    stop();
    unload();
  }
}

TEST_F(Run, OfflineOpensNothingAndRegistersTheButtonAllTheSame) {
  host->setOffline(true);
  EXPECT_EQ(start(), true);
  EXPECT_TRUE(learningPalette().is_null());
  EXPECT_EQ(controlIds(), (Json{"HelpGroupCommand", "runTeachPalette"}));
  EXPECT_EQ(state()["definitions"].at(0)["handlers"], Json::array({"CmdCreatedEventHandler"}));
}

TEST_F(Run, AFileThatCannotBeReadOpensNothingWithTheFirstIcons) {
  writeFile(infoFile, "16.11.2026\n2\n");
  std::filesystem::permissions(infoFile, std::filesystem::perms::none);
  openFolderToAll();
  load();
  EXPECT_EXIT(
      {
        becomeAnyUser();
        start();
        const bool asExpected = countOpenPalette() == -1 && learningPalette().is_null() &&
                                iconFolder() == "resources/Velorin/LessTen";
        std::exit(asExpected ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(Run, FillsTheGlobalHandles) {
  EXPECT_EQ(start(), true);
  EXPECT_TRUE(app());
  EXPECT_TRUE(ui());
  EXPECT_TRUE(palette());
  EXPECT_EQ(state()["references"], 3);
}

TEST_F(Run, WithoutApplicationReturnsFalse) {
  fail("Application.get");
  EXPECT_EQ(start(), false);
  EXPECT_FALSE(app());
  EXPECT_EQ(calls(), (Calls{"run", "Application.get() fails by null", "run returned false"}));
  EXPECT_FALSE(std::filesystem::exists(infoFile));
}

TEST_F(Run, WithoutUserInterfaceReturnsFalse) {
  fail("Application.userInterface");
  EXPECT_EQ(start(), false);
  EXPECT_TRUE(app());
  EXPECT_FALSE(ui());
  EXPECT_EQ(calls(), (Calls{"run", "Application.get() = Application",
                            "Application.userInterface() fails by null", "run returned false"}));
  EXPECT_FALSE(std::filesystem::exists(infoFile));
}

TEST_F(Run, WithoutOnlineStatusEventReturnsFalseAndHasCountedTheStart) {
  fail("Application.onlineStatusChanged");
  EXPECT_EQ(startAfter(2), false);
  EXPECT_EQ(countOpenPalette(), 2);
  EXPECT_EQ(readFile(infoFile), "16.11.2026\n3\n");
  EXPECT_EQ(calls(),
            (Calls{"run", "Application.get() = Application",
                   "Application.userInterface() = UserInterface",
                   "Application.onlineStatusChanged() fails by null", "run returned false"}));
  EXPECT_TRUE(learningPalette().is_null());
}

TEST_F(Run, WithoutToolbarReturnsFalseWithThePaletteOpen) {
  host->remove(substitute::ObjectKind::toolbar, "QATRight");
  EXPECT_EQ(start(), false);
  EXPECT_EQ(learningPalette()["visible"], true);
  EXPECT_EQ(state()["definitions"], Json::array());
  EXPECT_EQ(state()["onlineStatusHandlers"], Json::array({"OnlineStatusChangedHandler"}));
  const Calls seen = calls();
  ASSERT_GE(seen.size(), 2U);
  EXPECT_EQ(seen[seen.size() - 2], "Toolbars.itemById(\"QATRight\") = null");
}

TEST_F(Run, WithADefinitionLeftOverStillAddsAndReturnsFalse) {
  host->plant(substitute::ObjectKind::definition, "runTeachPalette");
  EXPECT_EQ(start(), false);
  const Calls seen = calls();
  ASSERT_GE(seen.size(), 2U);
  EXPECT_EQ(seen[seen.size() - 2].rfind(
                "CommandDefinitions.addButtonDefinition(\"runTeachPalette\", ", 0),
            0U);
  EXPECT_EQ(seen[seen.size() - 2].substr(seen[seen.size() - 2].rfind(' ')), " null");
  EXPECT_EQ(controlIds(), Json::array({"HelpGroupCommand"}));
}

TEST_F(Run, WithoutControlReturnsFalseAndKeepsTheDefinition) {
  fail("ToolbarControls.addCommand");
  EXPECT_EQ(start(), false);
  EXPECT_EQ(state()["definitions"].at(0)["handlers"], Json::array());
  EXPECT_TRUE(callsOf("CommandDefinition.commandCreated").empty());
}

TEST_F(Run, WithoutCommandCreatedEventReturnsFalseAndKeepsTheControl) {
  fail("CommandDefinition.commandCreated");
  EXPECT_EQ(start(), false);
  EXPECT_EQ(controlIds(), (Json{"HelpGroupCommand", "runTeachPalette"}));
  EXPECT_EQ(state()["definitions"].at(0)["handlers"], Json::array());
  EXPECT_TRUE(app());
  EXPECT_TRUE(ui());
}

TEST_F(Run, ReturnsWhatTheHostSaysToItsHandler) {
  fail("CommandCreatedEvent.add");
  EXPECT_EQ(start(), false);
  EXPECT_EQ(controlIds(), (Json{"HelpGroupCommand", "runTeachPalette"}));
}

TEST_F(Run, WithoutToolbarsUsesAnEmptyHandle) {
  fail("UserInterface.toolbars");
  load();
  expectFatal([this] { start(); });
}

TEST_F(Run, LetsTheHostsExceptionOutAndKeepsWhatItHas) {
  throwIn("ToolbarControls.addCommand");
  EXPECT_EQ(start(), std::nullopt);
  EXPECT_EQ(calls().back(), "threw std::runtime_error");
  EXPECT_TRUE(ui());
  EXPECT_EQ(learningPalette()["visible"], true);
  // app, ui and palette; everything local has been released on the way out.
  EXPECT_EQ(state()["references"], 3);
}
