// run and stop, and the global objects from load to unload.
#include "tests/AddInFixture.h"

namespace core = adsk::core;

namespace {

class Run : public AddInFixture {};
using Stop = AddInFixture;
using GlobalState = AddInFixture;

}  // namespace

TEST_F(Run, TheCountAndTheStatusDecideOnThePaletteAndTheIcons) {
  const struct {
    int count;
    bool offline;
    bool opens;
    bool opensLater;  // when the host goes offline and online
    const char* icons;
  } starts[] = {
      {-1, false, false, false, "resources/Velorin/LessTen"},
      {0, false, true, true, "resources/Velorin/LessTen"},
      {0, true, false, true, "resources/Velorin/LessTen"},
      {1, false, true, true, "resources/Velorin"},
      {3, false, true, true, "resources/Velorin"},
      {3, true, false, true, "resources/Velorin"},
      {4, false, false, false, "resources/Velorin"},
  };
  for (const auto& [count, offline, opens, opensLater, icons] : starts) {
    SCOPED_TRACE(count);
    host->setOffline(offline);
    EXPECT_EQ(startAfter(count), true);
    EXPECT_EQ(countOpenPalette(), count);
    EXPECT_EQ(!learningPalette().is_null(), opens);
    EXPECT_EQ(state()["definitions"].at(0)["resourceFolder"], icons);
    host->setOffline(true);
    EXPECT_EQ(!learningPalette().is_null(), opens);
    host->setOffline(false);
    EXPECT_EQ(!learningPalette().is_null(), opensLater);
    stop();
    unload();
  }
}

TEST_F(Run, WithoutToolbarsUsesAnEmptyHandle) {
  fail("UserInterface.toolbars");
  load();
  expectFatal([this] { start(); });
}

TEST_F(Stop, WithoutRunAndTheSecondOneReturnTrueAndAskNothing) {
  const Calls nothing = {"stop", "stop = true"};
  load();
  EXPECT_EQ(stop(), true);
  EXPECT_EQ(calls(), nothing);
  start();
  EXPECT_EQ(stop(), true);
  calls();
  EXPECT_EQ(stop(), true);
  EXPECT_EQ(calls(), nothing);
}

TEST_F(GlobalState, IsEmptyAfterLoading) {
  load();
  EXPECT_FALSE(holds("app"));
  EXPECT_FALSE(holds("ui"));
  EXPECT_FALSE(holds("palette"));
  EXPECT_EQ(countOpenPalette(), 0);
}

TEST_F(GlobalState, LoadingAndUnloadingAsksTheHostNothing) {
  writeFile(infoFile, "16.11.2026\n3\n");
  load();
  unload();
  EXPECT_EQ(calls(), Calls());
  EXPECT_EQ(readFile(infoFile), "16.11.2026\n3\n");
}

TEST_F(GlobalState, HoldsItsHandlersUnderTheirNames) {
  const std::pair<const char*, const char*> handlers[] = {
      {"_onHTMLEvent", "RovaHTMLEventHandler"},
      {"_onHTMLEventFirst3", "CadFirst3sHTMLEventHandler"},
      {"_cmdExecute", "CmdExecuteEventHandler"},
      {"_cmdEshopExecute", "CmdEshopExecuteEventHandler"},
      {"_cmdCreated", "CmdCreatedEventHandler"},
      {"_cmdEshopCreated", "CmdEshopCreatedEventHandler"}};
  for (const auto& [name, className] : handlers) {
    const auto& handler = global<core::EventHandler>(name);
    EXPECT_EQ(substitute::typeName(typeid(handler)), className);
  }
}

TEST_F(GlobalState, TheHostCallsTheVeryObjects) {
  ASSERT_EQ(start(), true);
  const auto& userInterface = *host->application().userInterface;
  const auto ofThePalette = [&] {
    return userInterface.palettes->all.items().front()->incomingFromHTML->registrations.handlers();
  };
  EXPECT_EQ(ofThePalette().at(0), &global<core::EventHandler>("_onHTMLEvent"));
  const auto& definition = *userInterface.definitions->all.items().front();
  EXPECT_EQ(definition.commandCreated->registrations.handlers().at(0),
            &global<core::EventHandler>("_cmdCreated"));
  host->remove(substitute::ObjectKind::palette, "teachPalete");
  host->setOffline(false);
  EXPECT_EQ(ofThePalette().at(0), &global<core::EventHandler>("_onHTMLEventFirst3"));
}
