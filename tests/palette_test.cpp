// OpenPalette: the learning palette and its page's address.
#include "tests/AddInFixture.h"

using substitute::Json;
using substitute::ObjectKind;

namespace {

const std::string page = "https://learning.velorin.example/fusion360/learning.asp?lang=";

class LearningPalette : public AddInFixture {
 protected:
  // Starts so late that nothing opens by itself, and forgets the calls of the start.
  void SetUp() override {
    ASSERT_EQ(startAfter(9), true);
    calls();
  }
  std::string address() { return learningPalette()["address"]; }
};

}  // namespace

TEST_F(LearningPalette, CreatesThePaletteInItsOrder) {
  EXPECT_TRUE(OpenPalette());
  EXPECT_EQ(calls(), (Calls{
                         "Application.executeTextCommand(\"Debug.EntitlementString\") = TEXT",
                         "Application.preferences() = Preferences",
                         "Preferences.generalPreferences() = GeneralPreferences",
                         "GeneralPreferences.userLanguage() = 2",
                         "Application.get() = Application",
                         "Application.userInterface() = UserInterface",
                         "UserInterface.palettes() = Palettes",
                         "Palettes.itemById(\"teachPalete\") = null",
                         "Palettes.add(\"teachPalete\", \"Velorin\", \"" + page +
                             "CSY&lic=TEXT\", true, true, true, 300, 400, true) = "
                             "Palette:teachPalete",
                         "Palette.dockingState(4) on Palette:teachPalete = true",
                         "Palette.incomingFromHTML() on Palette:teachPalete = HTMLEvent",
                         "HTMLEvent.add(\"RovaHTMLEventHandler\") = true",
                         "Palette.isVisible(true) on Palette:teachPalete = true",
                     }));
  const Json made = learningPalette();
  EXPECT_EQ(made["title"], "Velorin");
  EXPECT_EQ(made["width"], 300);
  EXPECT_EQ(made["height"], 400);
  EXPECT_EQ(made["dockingState"], 4);
  EXPECT_EQ(made["visible"], true);
  EXPECT_EQ(made["handlers"], Json::array({"RovaHTMLEventHandler"}));
}

TEST_F(LearningPalette, OnlyShowsAPaletteThatIsThere) {
  EXPECT_TRUE(OpenPalette());
  calls();
  EXPECT_TRUE(OpenPalette());
  EXPECT_EQ(calls(), (Calls{
                         "Application.executeTextCommand(\"Debug.EntitlementString\") = TEXT",
                         "Application.preferences() = Preferences",
                         "Preferences.generalPreferences() = GeneralPreferences",
                         "GeneralPreferences.userLanguage() = 2",
                         "Application.get() = Application",
                         "Application.userInterface() = UserInterface",
                         "UserInterface.palettes() = Palettes",
                         "Palettes.itemById(\"teachPalete\") = Palette:teachPalete",
                         "Palette.isVisible(true) on Palette:teachPalete = true",
                     }));
  EXPECT_EQ(state()["palettes"].size(), 1U);
  EXPECT_EQ(learningPalette()["handlers"], Json::array({"RovaHTMLEventHandler"}));
}

TEST_F(LearningPalette, LanguageTwoIsCzechAndEveryOtherEnglish) {
  for (const int language : {2, 0, 1, 3, 4, -2, 258, 2147483647, -2147483647 - 1}) {
    host->remove(ObjectKind::palette, "teachPalete");
    host->setLanguage(language);
    EXPECT_TRUE(OpenPalette());
    EXPECT_EQ(address(), page + (language == 2 ? "CSY" : "ENG") + "&lic=TEXT") << language;
  }
}

TEST_F(LearningPalette, WithoutEntitlementTextTheAddressEndsThere) {
  for (const std::optional<std::string>& none : {std::optional<std::string>(""), {}}) {
    host->remove(ObjectKind::palette, "teachPalete");
    host->setEntitlement(none);
    EXPECT_TRUE(OpenPalette());
    EXPECT_EQ(address(), page + "CSY&lic=");
  }
}

TEST_F(LearningPalette, TheEntitlementTextIsTakenAsItIs) {
  const std::string text = " a b&lang=x#y?%20\"'\\\x01 \xC5\x99 ";
  host->setEntitlement(text);
  EXPECT_TRUE(OpenPalette());
  EXPECT_EQ(address(), page + "CSY&lic=" + text);
}

TEST_F(LearningPalette, AHiddenPaletteComesBackWithThePageItHad) {
  EXPECT_TRUE(OpenPalette());
  host->setVisible("teachPalete", false);
  host->setLanguage(1);
  host->setEntitlement("OTHER");
  EXPECT_TRUE(OpenPalette());
  EXPECT_EQ(learningPalette()["visible"], true);
  EXPECT_EQ(address(), page + "CSY&lic=TEXT");
}

TEST_F(LearningPalette, APaletteOfTheOnlineStatusKeepsItsHandler) {
  countOpenPalette() = 0;
  host->setOffline(false);
  ASSERT_EQ(learningPalette()["handlers"], Json::array({"CadFirst3sHTMLEventHandler"}));
  EXPECT_TRUE(OpenPalette());
  EXPECT_EQ(learningPalette()["handlers"], Json::array({"CadFirst3sHTMLEventHandler"}));
}

TEST_F(LearningPalette, AFailureBeforeThePalettesLeavesPaletteAsItWas) {
  EXPECT_TRUE(OpenPalette());
  const auto* const before = palette().get();
  for (const char* const operation :
       {"Application.get", "Application.userInterface", "UserInterface.palettes"}) {
    fail(operation);
    EXPECT_FALSE(OpenPalette());
    EXPECT_EQ(palette().get(), before);
    EXPECT_EQ(calls().back(), std::string(operation) + "() fails by null");
  }
}

TEST_F(LearningPalette, ARefusedCreationEmptiesPalette) {
  EXPECT_TRUE(OpenPalette());
  host->remove(ObjectKind::palette, "teachPalete");
  calls();
  fail("Palettes.add");
  EXPECT_FALSE(OpenPalette());
  EXPECT_FALSE(palette());
  const Calls seen = calls();
  EXPECT_NE(seen.back().find("Palettes.add"), std::string::npos);
}

TEST_F(LearningPalette, AFailedConnectionLeavesThePaletteWithoutHandler) {
  const std::pair<const char*, const char*> failures[] = {
      {"Palette.incomingFromHTML", "Palette.incomingFromHTML() on Palette:teachPalete"},
      {"HTMLEvent.add", "HTMLEvent.add(\"RovaHTMLEventHandler\")"}};
  for (const auto& [operation, call] : failures) {
    fail(operation);
    EXPECT_FALSE(OpenPalette());
    EXPECT_EQ(calls().back(), std::string(call) + " fails by null");
    EXPECT_EQ(learningPalette()["visible"], true);
    EXPECT_EQ(learningPalette()["dockingState"], 4);
    EXPECT_TRUE(OpenPalette());
    EXPECT_EQ(learningPalette()["handlers"], Json::array());
    host->remove(ObjectKind::palette, "teachPalete");
  }
}
