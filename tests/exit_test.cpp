// stop: what the add-in takes out of the host when it ends.
#include <algorithm>

#include "tests/AddInFixture.h"

using substitute::Json;
using substitute::ObjectKind;

namespace {

class Stop : public AddInFixture {
 protected:
  // Starts with the palette open and forgets the calls of the start.
  void begin() {
    ASSERT_EQ(start(), true);
    calls();
  }
  bool hasDefinition(const std::string& id) { return has(state()["definitions"], id); }
  bool hasControl(const std::string& id) { return has(state()["toolbars"].at(0)["controls"], id); }

 private:
  static bool has(const Json& list, const std::string& id) {
    return std::any_of(list.begin(), list.end(),
                       [&](const Json& entry) { return entry["id"] == id; });
  }
};

}  // namespace

TEST_F(Stop, CallsTheHostInItsOrder) {
  begin();
  EXPECT_EQ(stop(), true);
  EXPECT_EQ(calls(),
            (Calls{
                "stop",
                "UserInterface.palettes() = Palettes",
                "Palettes.itemById(\"teachPalete\") = Palette:teachPalete",
                "Palette.deleteMe() on Palette:teachPalete = true",
                "Base.isValid() on Palette:teachPalete = false",
                "Application.userInterface() = UserInterface",
                "UserInterface.toolbars() = Toolbars",
                "Toolbars.itemById(\"QATRight\") = Toolbar:QATRight",
                "UserInterface.commandDefinitions() = CommandDefinitions",
                "CommandDefinitions.itemById(\"openEshop\") = null",
                "Toolbar.controls() on Toolbar:QATRight = ToolbarControls",
                "ToolbarControls.itemById(\"openEshop\") = null",
                "UserInterface.commandDefinitions() = CommandDefinitions",
                "CommandDefinitions.itemById(\"runTeachPalette\") = "
                "CommandDefinition:runTeachPalette",
                "CommandDefinition.deleteMe() on CommandDefinition:runTeachPalette = true",
                "Toolbar.controls() on Toolbar:QATRight = ToolbarControls",
                "ToolbarControls.itemById(\"runTeachPalette\") = CommandControl:runTeachPalette",
                "Base.query(\"adsk::core::CommandControl\") on CommandControl:runTeachPalette = "
                "CommandControl:runTeachPalette",
                "ToolbarControl.deleteMe() on CommandControl:runTeachPalette = true",
                "stop returned true",
            }));
}

TEST_F(Stop, TakesAnEshopThatTheHostHasWithIt) {
  begin();
  host->plant(ObjectKind::definition, "openEshop");
  host->plant(ObjectKind::control, "openEshop");
  EXPECT_EQ(stop(), true);
  const Calls seen = calls();
  const Calls eshop = {
      "CommandDefinitions.itemById(\"openEshop\") = CommandDefinition:openEshop",
      "CommandDefinition.deleteMe() on CommandDefinition:openEshop = true",
      "Toolbar.controls() on Toolbar:QATRight = ToolbarControls",
      "ToolbarControls.itemById(\"openEshop\") = CommandControl:openEshop",
      "Base.query(\"adsk::core::CommandControl\") on CommandControl:openEshop = "
      "CommandControl:openEshop",
      "ToolbarControl.deleteMe() on CommandControl:openEshop = true",
      "UserInterface.commandDefinitions() = CommandDefinitions",
      "CommandDefinitions.itemById(\"runTeachPalette\") = CommandDefinition:runTeachPalette",
  };
  ASSERT_GE(seen.size(), 9 + eshop.size());
  EXPECT_EQ(Calls(seen.begin() + 9, seen.begin() + 9 + static_cast<long>(eshop.size())), eshop);
  EXPECT_FALSE(hasDefinition("openEshop"));
  EXPECT_FALSE(hasControl("openEshop"));
}

TEST_F(Stop, LeavesTheHostCleanAndEmptiesOnlyUi) {
  begin();
  EXPECT_EQ(stop(), true);
  EXPECT_TRUE(learningPalette().is_null());
  EXPECT_EQ(state()["definitions"], Json::array());
  EXPECT_FALSE(hasControl("runTeachPalette"));
  EXPECT_TRUE(hasControl("HelpGroupCommand"));
  EXPECT_FALSE(ui());
  EXPECT_TRUE(app());
  EXPECT_TRUE(palette());
  EXPECT_EQ(countOpenPalette(), 0);
  EXPECT_EQ(state()["references"], 2);
}

TEST_F(Stop, DisconnectsNoHandler) {
  begin();
  fail("Palette.deleteMe");
  fail("CommandDefinition.deleteMe");
  EXPECT_EQ(stop(), true);
  EXPECT_EQ(learningPalette()["handlers"], Json::array({"RovaHTMLEventHandler"}));
  EXPECT_EQ(state()["definitions"].at(0)["handlers"], Json::array({"CmdCreatedEventHandler"}));
  EXPECT_EQ(state()["onlineStatusHandlers"], Json::array({"OnlineStatusChangedHandler"}));
}

TEST_F(Stop, TheSecondOneReturnsTrueAndAsksNothing) {
  begin();
  EXPECT_EQ(stop(), true);
  calls();
  EXPECT_EQ(stop(), true);
  EXPECT_EQ(calls(), (Calls{"stop", "stop returned true"}));
}

TEST_F(Stop, WithoutRunReturnsTrueAndAsksNothing) {
  load();
  EXPECT_EQ(stop(), true);
  EXPECT_EQ(calls(), (Calls{"stop", "stop returned true"}));
}

TEST_F(Stop, WithoutPaletteTakesTheRest) {
  ASSERT_EQ(startAfter(4), true);
  calls();
  EXPECT_EQ(stop(), true);
  const Calls seen = calls();
  ASSERT_GE(seen.size(), 4U);
  EXPECT_EQ(Calls(seen.begin(), seen.begin() + 4),
            (Calls{"stop", "UserInterface.palettes() = Palettes",
                   "Palettes.itemById(\"teachPalete\") = null",
                   "Application.userInterface() = UserInterface"}));
  EXPECT_EQ(state()["definitions"], Json::array());
  EXPECT_FALSE(hasControl("runTeachPalette"));
  EXPECT_FALSE(ui());
}

TEST_F(Stop, FindsThePaletteByItsIdAndNotByTheGlobal) {
  ASSERT_EQ(startAfter(4), true);
  host->plant(ObjectKind::palette, "teachPalete");
  EXPECT_FALSE(palette());
  EXPECT_EQ(stop(), true);
  EXPECT_TRUE(learningPalette().is_null());
}

TEST_F(Stop, WithoutPalettesReturnsFalseAndTakesNothing) {
  begin();
  fail("UserInterface.palettes");
  EXPECT_EQ(stop(), false);
  EXPECT_EQ(calls(),
            (Calls{"stop", "UserInterface.palettes() fails by null", "stop returned false"}));
  EXPECT_EQ(learningPalette()["visible"], true);
  EXPECT_TRUE(hasDefinition("runTeachPalette"));
  EXPECT_TRUE(ui());
}

TEST_F(Stop, WithoutToolbarReturnsFalseWithThePaletteGone) {
  begin();
  host->remove(ObjectKind::toolbar, "QATRight");
  EXPECT_EQ(stop(), false);
  EXPECT_TRUE(learningPalette().is_null());
  EXPECT_TRUE(hasDefinition("runTeachPalette"));
  EXPECT_TRUE(ui());
  const Calls seen = calls();
  ASSERT_GE(seen.size(), 2U);
  EXPECT_EQ(seen[seen.size() - 2], "Toolbars.itemById(\"QATRight\") = null");
}

TEST_F(Stop, LeavesAControlOfAnotherKindAlone) {
  begin();
  host->plant(ObjectKind::definition, "openEshop");
  host->plant(ObjectKind::plainControl, "openEshop");
  EXPECT_EQ(stop(), true);
  EXPECT_FALSE(hasDefinition("openEshop"));
  EXPECT_TRUE(hasControl("openEshop"));
}

TEST_F(Stop, IgnoresRefusedDeletions) {
  begin();
  fail("Palette.deleteMe");
  fail("CommandDefinition.deleteMe");
  fail("ToolbarControl.deleteMe");
  EXPECT_EQ(stop(), true);
  EXPECT_EQ(learningPalette()["visible"], true);
  EXPECT_TRUE(hasDefinition("runTeachPalette"));
  EXPECT_TRUE(hasControl("runTeachPalette"));
  EXPECT_FALSE(ui());
}

TEST_F(Stop, WithoutAnApplicationUsesAnEmptyHandle) {
  begin();
  app() = nullptr;
  expectFatal([this] { stop(); });
}

TEST_F(Stop, AfterAFailedRunTakesWhatIsThere) {
  fail("CommandDefinition.commandCreated");
  ASSERT_EQ(start(), false);
  EXPECT_EQ(stop(), true);
  EXPECT_TRUE(learningPalette().is_null());
  EXPECT_EQ(state()["definitions"], Json::array());
  EXPECT_FALSE(hasControl("runTeachPalette"));
}
