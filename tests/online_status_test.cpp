// Going online and offline.
#include "tests/AddInFixture.h"

using substitute::Json;

namespace {

class OnlineStatus : public AddInFixture {
 protected:
  // Starts offline after `starts` starts, so that no palette is there, and forgets the calls.
  void begin(int starts) {
    host->setOffline(true);
    ASSERT_EQ(startAfter(starts), true);
    ASSERT_TRUE(learningPalette().is_null());
    calls();
  }
  // A palette of OpenPalette that the user has hidden.
  void hidden() {
    begin(0);
    ASSERT_TRUE(OpenPalette());
    host->setVisible("teachPalete", false);
    calls();
  }
};

const std::string creation =
    "Palettes.add(\"teachPalete\", \"Velorin\", "
    "\"https://learning.velorin.example/fusion360/learning.asp?lang=CSY&lic=TEXT\", true, true, "
    "true, 300, 400, true) = Palette:teachPalete";

}  // namespace

TEST_F(OnlineStatus, OnlineCreatesThePaletteInItsOrder) {
  begin(0);
  host->setOffline(false);
  EXPECT_EQ(calls(), (Calls{
                         "notify OnlineStatusChangedHandler",
                         "ApplicationEventArgs.isOffLine() = false",
                         "Application.executeTextCommand(\"Debug.EntitlementString\") = TEXT",
                         "Application.preferences() = Preferences",
                         "Preferences.generalPreferences() = GeneralPreferences",
                         "GeneralPreferences.userLanguage() = 2",
                         "UserInterface.palettes() = Palettes",
                         "Palettes.itemById(\"teachPalete\") = null",
                         creation,
                         "Palette.dockingState(4) on Palette:teachPalete = true",
                         "Palette.incomingFromHTML() on Palette:teachPalete = HTMLEvent",
                         "HTMLEvent.add(\"CadFirst3sHTMLEventHandler\") = true",
                         "Palette.isVisible(true) on Palette:teachPalete = true",
                     }));
  const Json made = learningPalette();
  EXPECT_EQ(made["dockingState"], 4);
  EXPECT_EQ(made["visible"], true);
  EXPECT_EQ(made["handlers"], Json::array({"CadFirst3sHTMLEventHandler"}));
}

TEST_F(OnlineStatus, OnlineShowsAHiddenPaletteInItsOrder) {
  hidden();
  host->setLanguage(1);
  host->setOffline(false);
  EXPECT_EQ(calls(), (Calls{
                         "notify OnlineStatusChangedHandler",
                         "ApplicationEventArgs.isOffLine() = false",
                         "Application.executeTextCommand(\"Debug.EntitlementString\") = TEXT",
                         "Application.preferences() = Preferences",
                         "Preferences.generalPreferences() = GeneralPreferences",
                         "GeneralPreferences.userLanguage() = 1",
                         "UserInterface.palettes() = Palettes",
                         "Palettes.itemById(\"teachPalete\") = Palette:teachPalete",
                         "Palette.isVisible(true) on Palette:teachPalete = true",
                     }));
  const Json shown = learningPalette();
  EXPECT_EQ(shown["visible"], true);
  EXPECT_NE(shown["address"].get<std::string>().find("lang=CSY"), std::string::npos);
  EXPECT_EQ(shown["handlers"], Json::array({"RovaHTMLEventHandler"}));
}

TEST_F(OnlineStatus, OfflineDoesNothingWhateverTheCounter) {
  for (const int count : {-1, 0, 3, 4}) {
    SCOPED_TRACE(count);
    begin(count);
    host->setOffline(true);
    EXPECT_EQ(calls(), (Calls{"notify OnlineStatusChangedHandler",
                              "ApplicationEventArgs.isOffLine() = true"}));
    stop();
    unload();
  }
}

TEST_F(OnlineStatus, CountersZeroToThreeAloneBringThePalette) {
  for (const int count : {0, 1, 2, 3, 4, 5, 2147483647, -1, -2147483647}) {
    SCOPED_TRACE(count);
    begin(count);
    ASSERT_EQ(countOpenPalette(), count);
    host->setOffline(false);
    if (count >= 0 && count <= 3) {
      EXPECT_EQ(learningPalette()["visible"], true);
    } else {
      EXPECT_EQ(calls(), (Calls{"notify OnlineStatusChangedHandler",
                                "ApplicationEventArgs.isOffLine() = false"}));
    }
    stop();
    unload();
  }
}

TEST_F(OnlineStatus, EveryOnlineReportShowsThePaletteAgain) {
  hidden();
  for (int i = 0; i < 3; ++i) {
    host->setOffline(false);
    EXPECT_EQ(learningPalette()["visible"], true);
    host->setVisible("teachPalete", false);
  }
  EXPECT_EQ(state()["palettes"].size(), 1U);
  EXPECT_EQ(countOpenPalette(), 0);
}

TEST_F(OnlineStatus, EmptyArgumentsDoNothing) {
  begin(0);
  host->reportStatusWithoutArguments();
  EXPECT_EQ(calls(), Calls{"notify OnlineStatusChangedHandler"});
}

TEST_F(OnlineStatus, WithoutPalettesEndsThere) {
  begin(0);
  fail("UserInterface.palettes");
  host->setOffline(false);
  EXPECT_EQ(calls().back(), "UserInterface.palettes() fails by null");
  EXPECT_EQ(state()["palettes"], Json::array());
}

TEST_F(OnlineStatus, AfterStopUsesAnEmptyHandle) {
  begin(0);
  ASSERT_EQ(stop(), true);
  expectFatal([this] { host->setOffline(false); });
}

TEST_F(OnlineStatus, AfterAFailedRunStillWorks) {
  host->setOffline(true);
  fail("CommandDefinitions.addButtonDefinition");
  ASSERT_EQ(start(), false);
  host->setOffline(false);
  EXPECT_EQ(learningPalette()["visible"], true);
}
