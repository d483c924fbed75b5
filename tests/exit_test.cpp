// stop: what the add-in takes out of the host when it ends.
#include "tests/AddInFixture.h"
#include "tests/ExpectedCalls.h"

using substitute::Json;
using substitute::ObjectKind;

namespace {

class Stop : public AddInFixture {};

}  // namespace

TEST_F(Stop, CallsTheHostInItsOrder) {
  ASSERT_EQ(start(), true);
  // An e-shop, which nothing of the add-in puts there, is taken out, too.
  host->plant(ObjectKind::definition, "openEshop");
  host->plant(ObjectKind::control, "openEshop");
  calls();
  EXPECT_EQ(stop(), true);
  const auto removal = [](const std::string& id) {
    return Calls{
        "UserInterface.commandDefinitions() = CommandDefinitions",
        "CommandDefinitions.itemById(\"" + id + "\") = CommandDefinition:" + id,
        "CommandDefinition.deleteMe() on CommandDefinition:" + id + " = true",
        "Toolbar.controls() on Toolbar:QATRight = ToolbarControls",
        "ToolbarControls.itemById(\"" + id + "\") = CommandControl:" + id,
        "Base.query(\"adsk::core::CommandControl\") on CommandControl:" + id +
            " = CommandControl:" + id,
        "ToolbarControl.deleteMe() on CommandControl:" + id + " = true",
    };
  };
  EXPECT_EQ(calls(), Calls({
                         "stop",
                         "UserInterface.palettes() = Palettes",
                         "Palettes.itemById(\"teachPalete\") = Palette:teachPalete",
                         "Palette.deleteMe() on Palette:teachPalete = true",
                         "Base.isValid() on Palette:teachPalete = false",
                         "Application.userInterface() = UserInterface",
                         "UserInterface.toolbars() = Toolbars",
                         "Toolbars.itemById(\"QATRight\") = Toolbar:QATRight",
                     }) + removal("openEshop") +
                         removal("runTeachPalette") + Calls({"stop returned true"}));
}

TEST_F(Stop, WithoutRunAndTheSecondOneReturnTrueAndAskNothing) {
  const Calls nothing = {"stop", "stop returned true"};
  load();
  EXPECT_EQ(stop(), true);
  EXPECT_EQ(calls(), nothing);
  start();
  EXPECT_EQ(stop(), true);
  calls();
  EXPECT_EQ(stop(), true);
  EXPECT_EQ(calls(), nothing);
}

TEST_F(Stop, FindsThePaletteByItsIdAndNotByTheGlobal) {
  ASSERT_EQ(startAfter(9), true);
  host->plant(ObjectKind::palette, "teachPalete");
  EXPECT_FALSE(holds("palette"));
  EXPECT_EQ(stop(), true);
  EXPECT_TRUE(learningPalette().is_null());
}

TEST_F(Stop, LeavesAControlOfAnotherKindAlone) {
  ASSERT_EQ(start(), true);
  host->plant(ObjectKind::definition, "openEshop");
  host->plant(ObjectKind::plainControl, "openEshop");
  EXPECT_EQ(stop(), true);
  EXPECT_EQ(state()["definitions"], Json::array());
  EXPECT_EQ(state()["toolbars"].at(0)["controls"].at(1)["id"], "openEshop");
}
