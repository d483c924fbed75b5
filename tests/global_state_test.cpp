// The global objects, from load to unload.
#include "tests/AddInFixture.h"

namespace core = adsk::core;
using substitute::Json;

namespace {
class GlobalState : public AddInFixture {};
}  // namespace

TEST_F(GlobalState, IsEmptyAfterLoading) {
  load();
  EXPECT_FALSE(app());
  EXPECT_FALSE(ui());
  EXPECT_FALSE(palette());
  EXPECT_EQ(countOpenPalette(), 0);
}

TEST_F(GlobalState, LoadingAndUnloadingAsksTheHostNothing) {
  load();
  unload();
  EXPECT_EQ(calls(), Calls());
}

TEST_F(GlobalState, HoldsItsHandlersUnderTheirNames) {
  load();
  const auto className = [this](const char* name) {
    const auto& handler = global<core::EventHandler>(name);
    return substitute::typeName(typeid(handler));
  };
  EXPECT_EQ(className("_onHTMLEvent"), "RovaHTMLEventHandler");
  EXPECT_EQ(className("_onHTMLEventFirst3"), "CadFirst3sHTMLEventHandler");
  EXPECT_EQ(className("_cmdExecute"), "CmdExecuteEventHandler");
  EXPECT_EQ(className("_cmdEshopExecute"), "CmdEshopExecuteEventHandler");
  EXPECT_EQ(className("_cmdCreated"), "CmdCreatedEventHandler");
  EXPECT_EQ(className("_cmdEshopCreated"), "CmdEshopCreatedEventHandler");
}

TEST_F(GlobalState, KeepsTheOnlineStatusHandlerPrivate) {
  load();
  EXPECT_EQ(addin->symbol("onlineStatusChangedHandler_"), nullptr);
}

TEST_F(GlobalState, TheHostCallsTheVeryObjects) {
  ASSERT_EQ(start(), true);
  const auto& definition = *host->application().userInterface->definitions->all.items().front();
  EXPECT_EQ(definition.commandCreated->registrations.handlers().at(0),
            &global<core::EventHandler>("_cmdCreated"));
  const auto& palette = *host->application().userInterface->palettes->all.items().front();
  EXPECT_EQ(palette.incomingFromHTML->registrations.handlers().at(0),
            &global<core::EventHandler>("_onHTMLEvent"));
}

TEST_F(GlobalState, OpeningThePaletteDoesNotCount) {
  ASSERT_EQ(startAfter(2), true);
  OpenPalette();
  host->setOffline(false);
  host->click("runTeachPalette");
  EXPECT_EQ(countOpenPalette(), 2);
}

TEST_F(GlobalState, UnloadingReleasesWhatTheHandlesHold) {
  ASSERT_EQ(start(), true);
  EXPECT_EQ(state()["references"], 3);
  unload();
  EXPECT_EQ(state()["references"], 0);
}

TEST_F(GlobalState, UnloadingLeavesNoHandlerWithTheHost) {
  ASSERT_EQ(start(), true);
  unload();
  EXPECT_EQ(state()["onlineStatusHandlers"], Json::array());
  EXPECT_EQ(state()["definitions"].at(0)["handlers"], Json::array());
  EXPECT_EQ(learningPalette()["handlers"], Json::array());
  host->setOffline(false);
  host->click("runTeachPalette");
  host->message("teachPalete", "\"x\"");
  const Calls seen = calls();
  EXPECT_EQ(std::count_if(seen.begin(), seen.end(),
                          [](const std::string& call) { return call.rfind("notify", 0) == 0; }),
            0);
}

TEST_F(GlobalState, AHandlerStaysRegisteredUntilTheLibraryIsUnloaded) {
  ASSERT_EQ(start(), true);
  ASSERT_EQ(stop(), true);
  EXPECT_EQ(state()["onlineStatusHandlers"], Json::array({"OnlineStatusChangedHandler"}));
  calls();
  host->setOffline(true);
  EXPECT_EQ(calls(), (Calls{"notify OnlineStatusChangedHandler",
                            "ApplicationEventArgs.isOffLine() = true"}));
}
